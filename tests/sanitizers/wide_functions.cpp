// The C runtime's functions on wide characters, for a wchar_t of 16 bits: those of Linux have 32.
// exports.map keeps them inside the test program, and forbidden_imports checks that no other wide
// functions are used. The fuzzers do the same. Must be compiled without builtins: the compiler
// would turn the loops into calls of these very functions.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>

static_assert(sizeof(wchar_t) == 2, "needs -fshort-wchar");

extern "C" {

std::size_t wcslen(const wchar_t* text) noexcept {
  std::size_t length = 0;
  while (text[length] != 0) {
    ++length;
  }
  return length;
}

int wmemcmp(const wchar_t* left, const wchar_t* right, std::size_t count) noexcept {
  for (; count != 0; --count, ++left, ++right) {
    if (*left != *right) {
      return *left < *right ? -1 : 1;
    }
  }
  return 0;
}

int wcscmp(const wchar_t* left, const wchar_t* right) noexcept {
  return wmemcmp(left, right, std::min(wcslen(left), wcslen(right)) + 1);
}

wchar_t* wmemcpy(wchar_t* target, const wchar_t* source, std::size_t count) noexcept {
  return static_cast<wchar_t*>(__builtin_memcpy(target, source, count * sizeof(wchar_t)));
}

wchar_t* wmemmove(wchar_t* target, const wchar_t* source, std::size_t count) noexcept {
  return static_cast<wchar_t*>(__builtin_memmove(target, source, count * sizeof(wchar_t)));
}

wchar_t* wmemset(wchar_t* target, wchar_t character, std::size_t count) noexcept {
  for (std::size_t index = 0; index < count; ++index) {
    target[index] = character;
  }
  return target;
}

// The headers declare this one in C++ as two overloads.
wchar_t* FindWide(const wchar_t* text, wchar_t character, std::size_t count) noexcept
    __asm__("wmemchr");
wchar_t* FindWide(const wchar_t* text, wchar_t character, std::size_t count) noexcept {
  for (; count != 0; --count, ++text) {
    if (*text == character) {
      return const_cast<wchar_t*>(text);
    }
  }
  return nullptr;
}

// GoogleTest refers to these, and our tests never reach the calls.
void CompareWideIgnoringCase() __asm__("wcscasecmp");
void CompareWideIgnoringCase() { std::abort(); }
void FindWideText() __asm__("wcsstr");
void FindWideText() { std::abort(); }

// For std::to_wstring: only numbers.
int vswprintf(wchar_t* target, std::size_t size, const wchar_t* format,
              std::va_list arguments) noexcept {
  const std::string narrowFormat(format, format + wcslen(format));
  if (narrowFormat.find_first_of("sc") != std::string::npos) {
    std::abort();
  }
  std::string narrow(size, '\0');
  const int length = std::vsnprintf(narrow.data(), size, narrowFormat.c_str(), arguments);
  std::ranges::copy(narrow, target);
  return length;
}

}  // extern "C"
