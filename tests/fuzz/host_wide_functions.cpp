// The wide functions that the C++ library's strings call, for a wchar_t of 16 bits: those of the
// host's C library are for 32 bits.
#include <cstddef>

static_assert(sizeof(wchar_t) == 2);

// NOLINTBEGIN(readability-identifier-naming): named by the C library.
extern "C" {

std::size_t wcslen(const wchar_t* text);
wchar_t* wmemchr(const wchar_t* text, wchar_t character, std::size_t count);
int wmemcmp(const wchar_t* left, const wchar_t* right, std::size_t count);
wchar_t* wmemcpy(wchar_t* to, const wchar_t* from, std::size_t count);
wchar_t* wmemmove(wchar_t* to, const wchar_t* from, std::size_t count);
wchar_t* wmemset(wchar_t* to, wchar_t character, std::size_t count);

std::size_t wcslen(const wchar_t* text) {
  std::size_t length = 0;
  while (text[length] != L'\0') {
    ++length;
  }
  return length;
}

wchar_t* wmemchr(const wchar_t* text, wchar_t character, std::size_t count) {
  for (; count != 0; ++text, --count) {
    if (*text == character) {
      return const_cast<wchar_t*>(text);
    }
  }
  return nullptr;
}

int wmemcmp(const wchar_t* left, const wchar_t* right, std::size_t count) {
  for (; count != 0; ++left, ++right, --count) {
    if (*left != *right) {
      return *left < *right ? -1 : 1;
    }
  }
  return 0;
}

wchar_t* wmemmove(wchar_t* to, const wchar_t* from, std::size_t count) {
  if (to < from) {
    for (std::size_t i = 0; i != count; ++i) {
      to[i] = from[i];
    }
  } else {
    for (std::size_t i = count; i != 0; --i) {
      to[i - 1] = from[i - 1];
    }
  }
  return to;
}

wchar_t* wmemcpy(wchar_t* to, const wchar_t* from, std::size_t count) {
  return wmemmove(to, from, count);
}

wchar_t* wmemset(wchar_t* to, wchar_t character, std::size_t count) {
  for (std::size_t i = 0; i != count; ++i) {
    to[i] = character;
  }
  return to;
}

}  // extern "C"
// NOLINTEND(readability-identifier-naming)
