// Runs the real ostrel.exe and looks at what it leaves in the registry.
#pragma once

#include <windows.h>

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/registry_sandbox.h"

namespace end_to_end {

using Arguments = std::vector<std::wstring>;
/// Environment variables that differ from those of this program. One without a value is unset.
using Environment = std::map<std::wstring, std::optional<std::wstring>>;

struct RunResult {
  /// Standard output, byte for byte.
  std::string output;
  DWORD exitStatus;

  bool operator==(const RunResult&) const = default;
};
void PrintTo(const RunResult& result, std::ostream* stream);

/// The directory of this test program, where ostrel.exe lies too.
std::wstring ProgramDirectory();

/// A text as the tool prints it.
std::string Utf8(const std::wstring& text);

/// An empty directory for one test, deleted with its contents when the object is destroyed.
class TemporaryDirectory {
 public:
  /// The name may consist of several directories, separated by '\'.
  explicit TemporaryDirectory(const std::wstring& name);
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  [[nodiscard]] const std::wstring& Path() const { return path_; }

 private:
  std::filesystem::path root_;
  std::wstring path_;
};

struct HandleCloser {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const;
};
using Handle = std::unique_ptr<void, HandleCloser>;

/// Where a program's messages of errors go: to those of this program, or among its output.
enum class ErrorMessages { Apart, InOutput };

/// A program that runs beside the test. The destructor terminates it.
class RunningProgram {
 public:
  /// Without a directory the program runs in that of this test program.
  RunningProgram(const std::wstring& program, const Arguments& arguments,
                 const Environment& environment = {}, const std::wstring& directory = {},
                 ErrorMessages errorMessages = ErrorMessages::Apart);
  ~RunningProgram();
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  /// Waits for the next line of its output and returns it with its line end. Fails the test if none
  /// comes.
  std::string ReadLine();
  /// Reads no more: what the program writes from now on fails.
  void CloseOutput() { reader_.reset(); }
  /// Suspends all threads of the program while the action runs.
  void Freeze(const std::function<void()>& action);
  /// Waits for the end of the program and returns the output that was not read yet. A program that
  /// does not end fails the test and is terminated.
  RunResult Finish();

 private:
  Handle reader_;
  Handle process_;
};

/// Runs a program to its end.
RunResult RunProgram(const std::wstring& program, const Arguments& arguments,
                     const Environment& environment = {}, const std::wstring& directory = {},
                     ErrorMessages errorMessages = ErrorMessages::Apart);

/// Runs ostrel.exe.
RunResult RunTool(const Arguments& arguments, const Environment& environment = {},
                  const std::wstring& directory = {});

/// The output of the tool for a message, with the exit status that belongs to it. Line feeds become
/// the platform's line ends, and one more line end follows.
RunResult Success(const std::string& message);
RunResult Failure(const std::string& message);

/// The values of each key, by their names.
using Values = std::map<std::wstring, testing_support::RawValue>;
/// Keys by their paths below the maker's key; a key without values counts.
using Settings = std::map<std::wstring, Values>;

/// The places of the tool's settings, below the maker's key.
inline constexpr const wchar_t* kLogKey = L"Kestrane Vantor Telemetry\\Service\\Config\\Log";
inline constexpr const wchar_t* kZoltKey = L"Kestrane Vantor Telemetry\\ZOLT";
inline constexpr const wchar_t* kLegacyKey =
    L"Kestrane Harlen Telemetry\\Service\\Configuration\\Logging";

/// Everybody may only read the key.
inline constexpr const wchar_t* kReadingAlone = L"D:P(A;;KR;;;WD)";
/// Nobody may do anything.
inline constexpr const wchar_t* kNoAccess = L"D:P";

/// While this lives, a key below the maker's, or the maker's, has these rights.
class RestrictedKey {
 public:
  RestrictedKey(const std::wstring& path, const wchar_t* rights);
  ~RestrictedKey();
  RestrictedKey(const RestrictedKey&) = delete;
  RestrictedKey& operator=(const RestrictedKey&) = delete;

 private:
  void Grant(const wchar_t* rights) const;

  HKEY key_ = nullptr;
};

/// Runs each test on a registry without any setting of the service. The tool works on the registry
/// of the machine, so that the machine's settings are lost: CMake builds these tests only where
/// that is wanted (OSTREL_END_TO_END_TESTS).
class ToolTest : public ::testing::Test {
 protected:
  ToolTest();
  ~ToolTest() override;

  /// Deletes every setting.
  static void Clear();
  static void Write(const std::wstring& key, const std::wstring& value,
                    const testing_support::RawValue& content);
  /// Writes these settings. A key without values is created.
  static void Write(const Settings& settings);
  /// Everything that the tool could have written: the keys that have values or no subkeys.
  static Settings Registry();
};

}  // namespace end_to_end
