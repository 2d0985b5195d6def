// Iterating over a key: a failure comes in the place of one entry, and no entry is lost.
#include <windows.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "account.h"
#include "library_texts.h"
#include "sweep.h"
#include "tessel/config/registry_storage.h"

namespace faults {
namespace {

using tessel::config::RegistryStorage;
using tessel::config::StorageIterator;
using tessel::config::StoragePath;
using testing_support::RawText;

// Three subkeys, then the values, in the registry's order. Names are too long to be stored without
// an allocation.
constexpr std::size_t kSubkeys = 3;
constexpr std::size_t kExpandedValue = 2;
constexpr std::size_t kLargeValue = 6;  // needs a second call, with a larger buffer

const Contents kKey = {{L"A", {}},
                       {L"A\\K",
                        {{L"a", {REG_NONE, {}}},
                         {L"b", RawText(L"a text")},
                         {L"c", RawText(L"%FAULTS%", REG_EXPAND_SZ)},
                         {L"d as a number", {REG_DWORD_BIG_ENDIAN, {1, 2, 3, 4}}},
                         {L"e", RawText(L"\\Registry\\Machine", REG_LINK)},
                         {L"f", RawText(std::wstring(L"one\0two\0", 8), REG_MULTI_SZ)},
                         {L"g", {REG_BINARY, std::vector<std::uint8_t>(300, 7)}},
                         {L"h", {REG_QWORD, {1, 0, 0, 0, 1, 0, 0, 0}}},
                         {L"i", {REG_FULL_RESOURCE_DESCRIPTOR, {1, 2}}}}},
                       {L"A\\K\\one subkey", {}},
                       {L"A\\K\\three subkeys", {}},
                       {L"A\\K\\two subkeys", {}}};

std::vector<std::string> Entries() {
  const std::string large = ::testing::PrintToString(std::vector<std::uint8_t>(300, 7));
  return {R"(L"K\\one subkey" 8: L"one subkey")",
          R"(L"K\\three subkeys" 8: L"three subkeys")",
          R"(L"K\\two subkeys" 8: L"two subkeys")",
          R"(L"K\\a" 0: empty)",
          R"(L"K\\b" 9: L"a text")",
          R"(L"K\\c" 9: L"variable\0")",
          R"(L"K\\d as a number" 4: 16909060)",
          R"(L"K\\e" 8: L"Registry\\Machine")",
          R"(L"K\\f" 11: 9: L"one";9: L"two";)",
          R"(L"K\\g" 10: )" + large,
          R"(L"K\\h" 5: 4294967297)",
          "tessel::config::Error 5",
          "system 259",
          "system 259"};
}

std::string Lines(const std::vector<std::string>& texts) {
  std::string lines;
  for (const std::string& text : texts) {
    lines += Line(text);
  }
  return lines;
}

// One step. `end` tells whether it was the end.
std::string Step(StorageIterator& iterator, bool& end) {
  return CountedOutcome([&] {
    const auto entry = iterator.Next();
    const Pause pause;
    end = !entry && entry.error() == std::error_code(259, std::system_category());
    return Line(entry ? ::testing::PrintToString(entry->path.Text()) + ' ' + Text(entry->value)
                      : Text(entry.error()));
  });
}

std::string Iterate() {
  std::shared_ptr<RegistryStorage> storage;
  Unswept(
      [&] { storage = *RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(L"A"), nullptr); });
  std::optional<StorageIterator> iterator;
  std::string outcome;
  outcome = Counted([&] {
              auto result = storage->Iterate(StoragePath(L"K"));
              if (result) {
                iterator.emplace(*std::move(result));
              } else {
                const Pause pause;
                outcome = Line(Text(result.error()));
              }
            }) +
            outcome;
  if (iterator) {
    bool end = false;
    while (!end) {
      outcome += Step(*iterator, end);
    }
    outcome += Step(*iterator, end);
  }
  Unswept([&] {
    iterator.reset();
    storage.reset();
  });
  return outcome;
}

// The index of the value that the `call`-th enumeration of values asks for.
std::size_t ValueOfCall(std::size_t call) { return call > kLargeValue ? call - 1 : call; }

// The number of entries before the fault, which came in an enumeration or after one.
std::size_t EntriesBefore(const Fault& fault) {
  const std::size_t keys = fault.Before("RegEnumKeyExW");
  const std::size_t values = fault.Before("RegEnumValueW");
  if (fault.function == "RegEnumKeyExW") {
    return keys;
  }
  if (fault.function == "RegEnumValueW") {
    return kSubkeys + ValueOfCall(values);
  }
  return values == 0 ? keys - 1 : kSubkeys + ValueOfCall(values - 1);
}

std::string ExpectedIteration(const Fault& fault) {
  std::vector<std::string> entries = Entries();
  if (fault.function == "RegOpenKeyExW") {
    return Line(ErrorText(fault));
  }
  if (fault.function == kAllocation && fault.Before("RegEnumKeyExW") == 0) {
    return kOutOfMemory;  // no iterator was made
  }
  if (fault.function == "RegCloseKey" || fault.failure.name == "data does not fit" ||
      fault.Is("ExpandEnvironmentStringsW", 0)) {
    return Lines(entries);
  }
  const auto place = entries.begin() + static_cast<std::ptrdiff_t>(EntriesBefore(fault));
  if (fault.function == "ExpandEnvironmentStringsW") {
    *place = ErrorText(fault);
  } else if (fault.failure.code == ERROR_NO_MORE_ITEMS) {
    const bool subkeys = fault.function == "RegEnumKeyExW";
    entries.erase(place, subkeys ? entries.begin() + kSubkeys : entries.end() - 2);
  } else if (fault.function == kAllocation) {
    std::string thrown = kOutOfMemory;
    thrown.pop_back();
    entries.insert(place, thrown);
  } else {
    entries.insert(place, ErrorText(fault));
  }
  return Lines(entries);
}

TEST(IterationFaults, Iterate) {
  ::SetEnvironmentVariableW(L"FAULTS", L"variable");
  ASSERT_NE(Entries()[kSubkeys + kExpandedValue].find("variable"), std::string::npos);
  Sweep({.prepare =
             [](const auto& sandbox) {
               for (const auto& [key, values] : kKey) {
                 sandbox.CreateKey(key);
                 for (const auto& [name, value] : values) {
                   sandbox.Write(key, name, value);
                 }
               }
             },
         .run = Iterate,
         .unfaulted = Lines(Entries()) + Describe(kKey),
         .expect = [](const Fault& fault) { return ExpectedIteration(fault) + Describe(kKey); }});
}

// Iterates over the storage's own key, which the iterator keeps open when the storage is gone.
TEST(IterationFaults, IterateOverTheOwnKey) {
  const std::string key = Describe({{L"A", {}}, {L"A\\one", {}}});
  Sweep({.prepare = [](const auto& sandbox) { sandbox.CreateKey(L"A\\one"); },
         .run =
             [] {
               std::shared_ptr<RegistryStorage> storage;
               Unswept([&] {
                 storage = *RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(L"A"), nullptr);
               });
               std::string outcome = CountedOutcome([&] {
                 auto iterator = storage->Iterate(StoragePath()).value();
                 storage.reset();
                 const auto entry = iterator.Next();
                 const Pause pause;
                 return Line(entry ? Text(entry->value) : Text(entry.error()));
               });
               Unswept([&] { storage.reset(); });
               return outcome;
             },
         .unfaulted = Line(R"(8: L"one")") + key,
         .expect =
             [&](const Fault& fault) {
               if (fault.function == kAllocation) {
                 return kOutOfMemory + key;
               }
               return Line(fault.function == "RegEnumKeyExW" ? ErrorText(fault) : R"(8: L"one")") +
                      key;
             }});
}

}  // namespace
}  // namespace faults
