#include "library_texts.h"

#include <windows.h>

#include <type_traits>

#include <gtest/gtest.h>

namespace faults {

using tessel::config::StorageValue;

std::string Text(const std::error_code& error) {
  return std::string(error.category().name()) + ' ' + std::to_string(error.value());
}

std::string Text(const StorageValue& value) {
  const std::string payload = std::visit(
      []([[maybe_unused]] const auto& content) -> std::string {
        using Content = std::remove_cvref_t<decltype(content)>;
        if constexpr (std::is_same_v<Content, std::monostate>) {
          return "empty";
        } else if constexpr (std::is_same_v<Content, tessel::config::StoragePath>) {
          return ::testing::PrintToString(content.Text());
        } else if constexpr (std::is_same_v<Content, std::vector<StorageValue>>) {
          std::string list;
          for (const StorageValue& element : content) {
            list += Text(element) + ';';
          }
          return list;
        } else {
          return ::testing::PrintToString(content);
        }
      },
      value.Payload());
  return std::to_string(value.Index()) + ": " + payload;
}

std::string ErrorText(long code) {
  return code == ERROR_FILE_NOT_FOUND ? "tessel::config::Error 4"
                                      : "system " + std::to_string(code);
}

}  // namespace faults
