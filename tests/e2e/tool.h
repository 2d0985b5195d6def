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
/// Environment variables that differ from this program's own; without a value: unset.
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

/// An empty directory of the test's own, which goes with all that lies in it.
class TemporaryDirectory {
 public:
  /// The name may hold a few directories, separated by '\'.
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

/// A program that runs beside the test; it is terminated when the test is done with it.
class RunningProgram {
 public:
  /// Without a directory it runs in that of this test program.
  RunningProgram(const std::wstring& program, const Arguments& arguments,
                 const Environment& environment = {}, const std::wstring& directory = {});
  ~RunningProgram();
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  /// The next line of its output with its end; waits for it, and fails the test when none comes.
  std::string ReadLine();
  /// Holds all of its threads while the action runs.
  void Freeze(const std::function<void()>& action);
  /// Waits for the end and returns what was not read yet. A program that does not end fails the
  /// test and is terminated.
  RunResult Finish();

 private:
  Handle reader_;
  Handle process_;
};

/// Runs a program to its end.
RunResult RunProgram(const std::wstring& program, const Arguments& arguments,
                     const Environment& environment = {}, const std::wstring& directory = {});

/// Runs ostrel.exe.
RunResult RunTool(const Arguments& arguments, const Environment& environment = {},
                  const std::wstring& directory = {});

/// What the tool prints for a message and the status that comes with it: line feeds leave as the
/// platform's line ends, and one more line end follows.
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

/// Runs each test on a registry without any setting of the service. The tool works on the registry
/// of the machine, whose settings are lost: CMake has these tests run only where that is wanted.
class ToolTest : public ::testing::Test {
 protected:
  ToolTest();
  ~ToolTest() override;

  /// Deletes every setting.
  static void Clear();
  static void Write(const std::wstring& key, const std::wstring& value,
                    const testing_support::RawValue& content);
  /// Writes all of these; a key without values is created.
  static void Write(const Settings& settings);
  /// Everything that the tool could have written: the keys that have values or no subkeys.
  static Settings Registry();
};

}  // namespace end_to_end
