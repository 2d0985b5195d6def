// The words on standard error after an abnormal end. The manual page quotes them, so that an
// administrator can search for them.
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "tool.h"

namespace end_to_end {
namespace {

// Collects standard error of the programs that are started while it lives.
class StandardError {
 public:
  StandardError() {
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    file_.reset(::CreateFileW(path_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable,
                              CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_NE(file_.get(), INVALID_HANDLE_VALUE);
    ::SetStdHandle(STD_ERROR_HANDLE, file_.get());
  }
  ~StandardError() { ::SetStdHandle(STD_ERROR_HANDLE, original_); }
  StandardError(const StandardError&) = delete;
  StandardError& operator=(const StandardError&) = delete;

  [[nodiscard]] std::string Text() const {
    std::ifstream file(std::filesystem::path(path_), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  TemporaryDirectory directory_{L"standard error"};
  std::wstring path_ = directory_.Path() + L"\\text";
  HANDLE original_ = ::GetStdHandle(STD_ERROR_HANDLE);
  Handle file_;
};

class AbnormalEndTest : public ToolTest {
 protected:
  static void ExpectWords(const wchar_t* option) {
    const StandardError standardError;
    EXPECT_EQ(RunTool({option}).output, "");
    EXPECT_EQ(standardError.Text(),
              "terminate called after throwing an instance of 'std::bad_variant_access'\r\n"
              "  what():  bad variant access\r\n");
  }
};

TEST_F(AbnormalEndTest, SaysOnStandardErrorWhatIsWrong) {
  Write(kLogKey, L"LogLevel", testing_support::RawDword(3));
  ExpectWords(L"-getLogLevel");
  Write(kZoltKey, L"Disabled", testing_support::RawDword(1));
  ExpectWords(L"-getZOLTDisabled");
}

TEST_F(AbnormalEndTest, IsTheOnlyOneWithWordsOnStandardError) {
  const StandardError standardError;
  EXPECT_EQ(RunTool({L"-setLogLevel", L"Debug", L"-getLogLevel"}),
            Success("Successfully set log level to Debug\nLog level: Debug\n"));
  EXPECT_EQ(RunTool({L"-bogus"}), Failure("Unknown argument: -bogus\n"));
  EXPECT_EQ(standardError.Text(), "");
}

}  // namespace
}  // namespace end_to_end
