// Stands in for the shell's library: the user is no administrator.
#include <windows.h>

extern "C" __declspec(dllexport) BOOL WINAPI IsUserAnAdmin();

BOOL WINAPI IsUserAnAdmin() { return FALSE; }
