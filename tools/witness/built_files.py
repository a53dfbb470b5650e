"""What has to hold of the programs as they were built."""

import re
import shutil
import subprocess

# What Windows keeps in memory for every process, whatever lies beside the program.
KEPT = {"advapi32.dll", "gdi32.dll", "kernel32.dll", "msvcrt.dll", "shell32.dll", "user32.dll", "ws2_32.dll"}
LATE = ("bcrypt", "cfgmgr32", "comdlg32", "crypt32", "gdiplus", "iphlpapi", "msimg32", "ole32", "rpcrt4", "setupapi",
        "winhttp", "wininet")
HARDENED = ("HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT")
NOT_PROGRAMS = ("early_import.exe", "layer_tests.exe", "unit_tests.exe")
PLANTED = 66


def faults_of(program, root):
    """What the file itself says."""
    headers = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", program], capture_output=True, text=True,
                             check=True).stdout
    for library in re.findall(r"DLL Name: (\S+)", headers):
        if library.lower() not in KEPT:
            yield f"{program.name} imports {library}, which may be planted beside it"
    for flag in HARDENED:
        if flag not in headers:
            yield f"{program.name} lacks {flag}"
    content = program.read_bytes()
    if str(root).encode() in content:
        yield f"{program.name} has a path of the machine that built it"
    if b"8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a" not in content:
        yield f"{program.name} doesn't say that it is for Windows 10"


def plant(build, directory):
    """Programs with a library of ours beside them under each name that they import late."""
    directory.mkdir()
    for program in ("early_import.exe", "layer_tests.exe"):
        shutil.copy(build / program, directory)
    for name in LATE:
        shutil.copy(build / "planted_library.dll", directory / f"{name}.dll")


def loaded_plants(prefix, directory):
    """Whether the programs take what was planted, as the one does that imports as usual."""
    overrides = f"{','.join(LATE)}=n,b"
    code, _ = prefix.run("./early_import.exe", directory=directory, overrides=overrides)
    if code != PLANTED:
        yield f"who imports as usual doesn't load a planted library either ({code}): nothing is shown"
    tried = "--gtest_filter=CertificateTest.TurnsTextIntoBytes:ProxySession.ArgumentsMustAgree:DrawingTest.Blends*"
    code, output = prefix.run("./layer_tests.exe", tried, directory=directory, overrides=overrides)
    if code != 0:
        yield f"a planted library is loaded ({code}):\n{output}"
