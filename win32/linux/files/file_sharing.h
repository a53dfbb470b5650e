// The sharing modes of open files, held between all processes that use this layer.
//
// Each open file description holds shared locks (F_OFD_SETLK) on bytes far behind any content, one for every access
// that it has and one for every access that it denies to others; the kernel drops them with the last descriptor,
// also of a process that was killed. Programs that don't use the layer neither see the locks nor are held up.
#pragma once

#include "win32/types.h"

namespace win32 {

struct FileClaim {
    DWORD access;        // GENERIC_READ, GENERIC_WRITE
    DWORD sharing;       // FILE_SHARE_...
    bool deletes;        // FILE_FLAG_DELETE_ON_CLOSE
    bool besideOwnFile;  // opened on behalf of a holder, which can't deny the deletion to itself
};

// Claims the file for the descriptor, which must be open for reading. False with ERROR_SHARING_VIOLATION if another
// holder stands against it; the descriptor is then to be closed. Of two claims against each other that are made at
// the same moment both may fail. On a file system without such locks every claim succeeds.
bool claimFile(int descriptor, const FileClaim& claim);

}  // namespace win32
