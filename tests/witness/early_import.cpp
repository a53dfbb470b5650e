// A program that imports a library of the system as programs usually do, and so takes a planted one.

#include <windows.h>
//
#include <wincrypt.h>

int main() { return CertCloseStore(nullptr, 0) ? 0 : 1; }
