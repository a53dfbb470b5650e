// What libcurl calls during a transfer. `record` is the request's HTTPReqInfo; all run on the transfer's thread.
#pragma once

#include <curl/curl.h>

#include <cstddef>

namespace base {

// Gives the next bytes of the upload.
std::size_t onReadBody(char* buffer, std::size_t size, std::size_t count, void* record);
std::size_t onWriteBody(char* bytes, std::size_t size, std::size_t count, void* record);
// One line of a head; of several heads (interim answers, a proxy's) the later lines replace the earlier.
std::size_t onHeaderLine(char* line, std::size_t size, std::size_t count, void* record);
// 1, which ends the transfer, once the request is cancelled.
int onProgress(void* record, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
// Makes the context trust the system's roots too and ask for the record's pinned keys, if it has any.
CURLcode onSslContext(CURL* handle, void* sslContext, void* record);

}  // namespace base
