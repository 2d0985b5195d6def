// Changes that other programs make to a storage's key between two calls of one operation.
#include <windows.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/error_codes.h"
#include "support/import_hook.h"
#include "support/registry_sandbox.h"
#include "tessel/config/error.h"
#include "tessel/config/registry_storage.h"

namespace tessel::config {
namespace {

using testing_support::ErrorOf;
using testing_support::RawDword;
using testing_support::RawText;
using testing_support::RawValue;
using Bytes = std::vector<std::uint8_t>;
using GetHook = testing_support::ImportHook<"RegGetValueW", decltype(::RegGetValueW)>;

class MeanwhileTest : public ::testing::Test {
 protected:
  // The result of reading a value that is `before` at the first call and `after` from the second
  // on.
  StorageValue ReadReplaced(const RawValue& before, const RawValue& after) {
    sandbox.Write(L"A", L"v", before);
    int calls = 0;
    const GetHook hook([&](auto... arguments) {
      if (++calls == 2) {
        sandbox.Write(L"A", L"v", after);
      }
      return GetHook::Original()(arguments...);
    });
    return storage->GetValue(StoragePath(L"v")).value();
  }

  testing_support::RegistrySandbox sandbox;
  std::shared_ptr<RegistryStorage> storage =
      RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(L"A"), nullptr).value();
};

TEST_F(MeanwhileTest, AValueReplacedByAnotherTypeAndSizeIsReadAsOneOfThem) {
  const Bytes large(1U << 20U, 7);
  EXPECT_EQ(ReadReplaced(RawDword(1), RawText(L"a longer text")).Get<std::wstring>(),
            L"a longer text");
  EXPECT_EQ(ReadReplaced(RawText(L"a longer text"), RawDword(2)).Get<std::uint32_t>(), 2U);
  EXPECT_EQ(ReadReplaced(RawDword(1), {REG_BINARY, large}).Get<Bytes>(), large);
  EXPECT_EQ(ReadReplaced({REG_BINARY, large}, RawText(L"b")).Get<std::wstring>(), L"b");
  EXPECT_EQ(ReadReplaced(RawText(L"ab"), {REG_NONE, {}}).Index(), 0U);
  // Of the same size, so that only the type shows which value was read.
  EXPECT_EQ(ReadReplaced(RawDword(1), {REG_BINARY, {9, 8, 7, 6}}).Get<Bytes>(),
            (Bytes{9, 8, 7, 6}));
}

TEST_F(MeanwhileTest, AValueDeletedWhileItIsReadIsNotFound) {
  sandbox.Write(L"A", L"v", RawDword(1));
  int calls = 0;
  const GetHook hook([&](auto... arguments) {
    if (++calls == 2) {
      EXPECT_EQ(::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, L"A", L"v"), ERROR_SUCCESS);
    }
    return GetHook::Original()(arguments...);
  });
  EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"v"))), Error::not_found);
}

TEST_F(MeanwhileTest, EachOperationReportsThatTheKeyIsDeleted) {
  sandbox.Write(L"A", L"v", RawDword(1));
  ASSERT_EQ(::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"A"), ERROR_SUCCESS);
  const std::error_code deleted(ERROR_KEY_DELETED, std::system_category());
  EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"v"))), deleted);
  EXPECT_EQ(ErrorOf(storage->SetValue(StoragePath(L"v"), StorageValue(std::uint32_t{2}))), deleted);
  auto iterator = storage->Iterate(StoragePath()).value();
  for (int step = 0; step < 3; ++step) {
    EXPECT_EQ(ErrorOf(iterator.Next()), deleted);
  }
  EXPECT_TRUE(sandbox.Empty());
}

TEST_F(MeanwhileTest, WritesAMebibyteOfEachType) {
  const std::wstring text(std::size_t{512} * 1024, L'x');
  const Bytes bytes(1U << 20U, 7);
  EXPECT_TRUE(storage->SetValue(StoragePath(L"text"), StorageValue(text)));
  EXPECT_TRUE(storage->SetValue(StoragePath(L"bytes"), StorageValue(bytes)));
  const std::vector<StorageValue> list(1024, StorageValue(std::wstring(511, L'y')));
  EXPECT_TRUE(storage->SetValue(StoragePath(L"list"), StorageValue(list)));
  EXPECT_EQ(sandbox.Read(L"A", L"text"), RawText(text));
  EXPECT_EQ(sandbox.Read(L"A", L"bytes"), (RawValue{REG_BINARY, bytes}));
  EXPECT_EQ(sandbox.Read(L"A", L"list").value().data.size(), 2 + list.size() * 1024);
  EXPECT_EQ(storage->GetValue(StoragePath(L"text")).value().Get<std::wstring>(), text);
  const auto read = storage->GetValue(StoragePath(L"list")).value();
  const auto& elements = read.Get<std::vector<StorageValue>>();
  EXPECT_EQ(elements.size(), list.size());
  EXPECT_TRUE(std::ranges::all_of(elements, [](const StorageValue& element) {
    return element.Get<std::wstring>() == std::wstring(511, L'y');
  }));
}

}  // namespace
}  // namespace tessel::config
