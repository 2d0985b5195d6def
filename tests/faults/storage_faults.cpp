// Opening a storage, reading and writing values.
#include <windows.h>

#include <memory>
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
using tessel::config::StoragePath;
using tessel::config::StorageValue;
using testing_support::RawDword;
using testing_support::RawText;
using testing_support::RawValue;

const Contents kNoKeys;
const Contents kOpenedKey = {{L"A", {}}, {L"A\\B", {}}};

void SweepCreation(std::wstring name, tessel::config::StorageOptions options) {
  const auto opened = [](const char* kernelName) {
    return Line(std::string("opened, kernel name ") + kernelName);
  };
  Sweep({.prepare = [](const auto& /*sandbox*/) {},
         .run =
             [=] {
               return CountedOutcome([&] {
                 const auto storage = RegistryStorage::Create(
                     HKEY_LOCAL_MACHINE, StoragePath(L"A/B"), nullptr, name, options);
                 const Pause pause;
                 return !storage ? Line(Text(storage.error()))
                                 : opened((*storage)->KernelName().Empty() ? "unknown" : "known");
               });
             },
         .unfaulted = opened("known") + Describe(kOpenedKey),
         .expect =
             [=](const Fault& fault) {
               if (fault.function == "RegCreateKeyExW") {
                 return Line(ErrorText(fault));
               }
               if (fault.function == kAllocation) {
                 const bool created = fault.Before("RegCreateKeyExW") != 0;
                 return kOutOfMemory + Describe(created ? kOpenedKey : kNoKeys);
               }
               return opened(fault.function == "NtQueryKey" ? "unknown" : "known") +
                      Describe(kOpenedKey);
             }});
}

TEST(StorageFaults, Create) { SweepCreation({}, 0); }
TEST(StorageFaults, CreateReadOnly) { SweepCreation({}, tessel::config::kReadOnly); }
TEST(StorageFaults, CreateWithName) { SweepCreation(L"a name that is longer than short ones", 0); }

// A storage on HKEY_LOCAL_MACHINE\A, opened without faults.
std::shared_ptr<RegistryStorage> Opened(tessel::config::StorageOptions options = 0) {
  std::shared_ptr<RegistryStorage> storage;
  Unswept([&] {
    storage = *RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(L"A"), nullptr, {}, options);
  });
  return storage;
}
void Drop(std::shared_ptr<RegistryStorage>& storage) {
  Unswept([&] { storage.reset(); });
}

struct StoredValue {
  RawValue raw;
  std::string read;
};
const StoredValue kStoredValues[] = {
    {{REG_NONE, {1, 2, 3}}, "0: empty"},
    {RawText(L"a text"), R"(9: L"a text")"},
    {{REG_SZ, {}}, R"(9: L"")"},
    {RawText(L"%FAULTS%/b", REG_EXPAND_SZ), R"(9: L"variable/b\0")"},
    {{REG_BINARY, std::vector<std::uint8_t>(2, 7)}, R"(10: { '\a' (7), '\a' (7) })"},
    {RawDword(33), "4: 33"},
    {RawText(std::wstring(L"one\0two\0", 8), REG_MULTI_SZ), R"(11: 9: L"one";9: L"two";)"},
    {{REG_QWORD, {1, 0, 0, 0, 1}}, "5: 4294967297"},
};

Operation Reading(const StoredValue& stored, bool isThere) {
  const Contents contents = {{L"A", {}}, {L"A\\K", {{isThere ? L"v" : L"w", stored.raw}}}};
  const auto read = [](RegistryStorage& storage) {
    const auto value = storage.GetValue(StoragePath(L"K/v"));
    const Pause pause;
    return Line(Text(value));
  };
  const std::string once = Line(isThere ? stored.read : ErrorText(ERROR_FILE_NOT_FOUND));
  return {
      .prepare =
          [=](const auto& sandbox) { sandbox.Write(L"A\\K", isThere ? L"v" : L"w", stored.raw); },
      .run =
          [=] {
            auto storage = Opened();
            const std::string outcome = CountedOutcome([&] { return read(*storage); });
            std::string again;
            Unswept([&] { again = read(*storage); });
            Drop(storage);
            return outcome + again;
          },
      .unfaulted = once + once + Describe(contents),
      .expect =
          [=](const Fault& fault) {
            std::string first = once;
            // ERROR_MORE_DATA is no failure: the value is read again.
            const bool isError = fault.failure.code != ERROR_MORE_DATA;
            if (fault.function == kAllocation) {
              first = kOutOfMemory;
            } else if ((fault.function == "RegGetValueW" && isError) ||
                       (fault.function == "ExpandEnvironmentStringsW" &&
                        fault.Before(fault.function) != 0)) {
              first = Line(ErrorText(fault));
            }
            return first + once + Describe(contents);
          },
  };
}

TEST(StorageFaults, GetValue) {
  ::SetEnvironmentVariableW(L"FAULTS", L"variable");
  for (const StoredValue& stored : kStoredValues) {
    SCOPED_TRACE(stored.read);
    Sweep(Reading(stored, /*isThere=*/true));
  }
}
TEST(StorageFaults, GetValueThatIsNotThere) { Sweep(Reading(kStoredValues[0], /*isThere=*/false)); }

struct WrittenValue {
  StorageValue value;
  RawValue raw;
};
std::vector<WrittenValue> WrittenValues() {
  return {
      {StorageValue(std::monostate()), {REG_NONE, {}}},
      {StorageValue(std::int32_t{33}), RawDword(33)},
      {StorageValue(std::int64_t{-2}), {REG_QWORD, {0xFE, 255, 255, 255, 255, 255, 255, 255}}},
      {StorageValue(std::uint32_t{34}), RawDword(34)},
      {StorageValue(std::uint64_t{2}), {REG_QWORD, {2, 0, 0, 0, 0, 0, 0, 0}}},
      {StorageValue(std::wstring(L"a text")), RawText(L"a text")},
      {StorageValue(std::vector<std::uint8_t>{7, 8}), {REG_BINARY, {7, 8}}},
      {StorageValue(std::vector<StorageValue>{StorageValue(std::wstring(L"one")),
                                              StorageValue(std::wstring(L"two"))}),
       RawText(std::wstring(L"one\0two\0", 8), REG_MULTI_SZ)},
  };
}

std::string WriteValue(RegistryStorage& storage, const StorageValue& value) {
  const auto written = storage.SetValue(StoragePath(L"K/L/v"), value);
  const Pause pause;
  return Line(written ? "written" : Text(written.error()));
}

TEST(StorageFaults, SetValue) {
  for (const WrittenValue& written : WrittenValues()) {
    SCOPED_TRACE(Text(written.value));
    const Contents before = {{L"A", {}}};
    const Contents after = {{L"A", {}}, {L"A\\K", {}}, {L"A\\K\\L", {{L"v", written.raw}}}};
    Sweep({.prepare = [](const auto& /*sandbox*/) {},
           .run =
               [&] {
                 auto storage = Opened();
                 std::string outcome =
                     CountedOutcome([&] { return WriteValue(*storage, written.value); });
                 Drop(storage);
                 return outcome;
               },
           .unfaulted = Line("written") + Describe(after),
           .expect =
               [&](const Fault& fault) {
                 if (fault.function == kAllocation) {
                   return kOutOfMemory + Describe(before);
                 }
                 return Line(ErrorText(fault)) + Describe(before);
               }});
  }
}

TEST(StorageFaults, SetValueReadOnly) {
  const std::string refused = Line(ErrorText(ERROR_ACCESS_DENIED));
  for (const WrittenValue& written : WrittenValues()) {
    SCOPED_TRACE(Text(written.value));
    const Contents contents = {{L"A", {}}, {L"A\\K", {}}, {L"A\\K\\L", {{L"v", RawDword(1)}}}};
    Sweep({.prepare = [](const auto& sandbox) { sandbox.Write(L"A\\K\\L", L"v", RawDword(1)); },
           .run =
               [&] {
                 auto storage = Opened(tessel::config::kReadOnly);
                 std::string outcome =
                     CountedOutcome([&] { return WriteValue(*storage, written.value); });
                 Drop(storage);
                 return outcome;
               },
           .unfaulted = refused + Describe(contents),
           .expect = [&](const Fault& /*fault*/) { return kOutOfMemory + Describe(contents); }});
  }
}

TEST(StorageFaults, SetValueThatCannotBeWritten) {
  const StorageValue list(std::vector<StorageValue>{StorageValue(std::wstring(L"one")),
                                                    StorageValue(std::uint32_t{2})});
  const std::string settings = Describe({{L"A", {}}});
  Sweep({.prepare = [](const auto& /*sandbox*/) {},
         .run =
             [&] {
               auto storage = Opened();
               std::string outcome = CountedOutcome([&] { return WriteValue(*storage, list); });
               Drop(storage);
               return outcome;
             },
         .unfaulted = Line("tessel::config::Error 5") + settings,
         .expect = [&](const Fault& /*fault*/) { return kOutOfMemory + settings; }});
}

}  // namespace
}  // namespace faults
