// Stands in for PowerShell: says how it was started, and prints and returns what it is told to.
//
//   OSTREL_TEST_RECORD  file that receives the command line, and on a second line the value of
//                       NoDefaultCurrentDirectoryInExePath, both as UTF-16
//   OSTREL_TEST_SIZE    number of bytes to print, see fake_powershell.h
//   OSTREL_TEST_STATUS  exit status
#include "fake_powershell.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>

namespace {

std::wstring Variable(const wchar_t* name) {
  std::array<wchar_t, 1024> value{};
  ::GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
  return value.data();
}

// Writes in small and uneven pieces, so that the reader meets short reads.
void Print(const std::string& bytes) {
  const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
  std::size_t done = 0;
  while (done < bytes.size()) {
    DWORD written = 0;
    const std::size_t piece = std::min<std::size_t>(bytes.size() - done, 1 + done % 1500);
    if (!::WriteFile(output, bytes.data() + done, static_cast<DWORD>(piece), &written, nullptr)) {
      std::exit(90);
    }
    done += written;
  }
}

void Record() {
  const std::wstring text =
      std::wstring(::GetCommandLineW()) + L'\n' + Variable(L"NoDefaultCurrentDirectoryInExePath");
  const HANDLE file = ::CreateFileW(Variable(L"OSTREL_TEST_RECORD").c_str(), GENERIC_WRITE, 0,
                                    nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  DWORD written = 0;
  if (!::WriteFile(file, text.data(), static_cast<DWORD>(text.size() * sizeof(wchar_t)), &written,
                   nullptr)) {
    std::exit(91);
  }
  ::CloseHandle(file);
}

}  // namespace

int main() {
  Record();
  Print(end_to_end::Pattern(std::stoul(Variable(L"OSTREL_TEST_SIZE"))));
  return std::stoi(Variable(L"OSTREL_TEST_STATUS"));
}
