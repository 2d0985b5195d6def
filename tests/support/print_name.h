// How GoogleTest prints an enumerator.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <ostream>

namespace testing_support {

/// Prints the name of an enumerator that counts from 0, or the number of what is none.
template <class Enumeration>
void PrintName(Enumeration value, std::initializer_list<const char*> names, std::ostream* stream) {
  const auto index = static_cast<std::size_t>(value);
  if (index < names.size()) {
    *stream << names.begin()[index];
  } else {
    *stream << "no enumerator: " << index;
  }
}

}  // namespace testing_support
