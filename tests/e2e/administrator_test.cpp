#include "tool.h"

namespace end_to_end {
namespace {

// A copy of the tool beside a shell library for which nobody is an administrator.
class OrdinaryUserTest : public ToolTest {
 protected:
  OrdinaryUserTest() {
    EXPECT_TRUE(::CopyFileW((ProgramDirectory() + L"\\ostrel.exe").c_str(), program_.c_str(),
                            /*bFailIfExists=*/FALSE));
    // Wine prefers its own library of that name, except for a program that this key names.
    EXPECT_EQ(::RegSetKeyValueW(HKEY_CURRENT_USER,
                                L"Software\\Wine\\AppDefaults\\ordinary-user.exe\\DllOverrides",
                                L"shell32", REG_SZ, L"native", sizeof L"native"),
              ERROR_SUCCESS);
  }

  [[nodiscard]] RunResult RunAsOrdinaryUser(const Arguments& arguments) const {
    return RunProgram(program_, arguments);
  }

 private:
  std::wstring program_ = ProgramDirectory() + L"\\ordinary-user\\ordinary-user.exe";
};

TEST_F(OrdinaryUserTest, IsRefusedWhateverTheArguments) {
  const RunResult refusal{"This tool should run as admin\r\n", 1};
  EXPECT_EQ(RunAsOrdinaryUser({}), refusal);
  EXPECT_EQ(RunAsOrdinaryUser({L"-help"}), refusal);
  EXPECT_EQ(RunAsOrdinaryUser({L"-bogus"}), refusal);
  EXPECT_EQ(RunAsOrdinaryUser({L"-getLogLevel"}), refusal);
  EXPECT_EQ(RunAsOrdinaryUser({L"-setLogLevel", L"Debug"}), refusal);
  EXPECT_EQ(RunAsOrdinaryUser({L"-resetAllLogSettings"}), refusal);
  EXPECT_EQ(Registry(), Settings());
}

}  // namespace
}  // namespace end_to_end
