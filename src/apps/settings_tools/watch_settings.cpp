#include "settings_tools/watch_settings.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "settings_tools/console.h"
#include "settings_tools/nearest_key_watch.h"
#include "settings_tools/settings.h"
#include "settings_tools/settings_table.h"

namespace settings_tools {
namespace {

constexpr std::string_view kWatchProgram = "ostrel_watch_settings";

/// Prints what differs between one reading of the settings and the next.
class ChangePrinter {
 public:
  ChangePrinter(tessel::config::Storage& machine, std::uint64_t count)
      : machine_(machine), left_(count) {}

  /// Reads the settings. Returns whether changes are left to be printed, and can be.
  bool Look() {
    Settings present = ReadSettings(machine_);
    std::string lines;
    if (!last_) {
      lines = "watching the settings of both layouts\n";
    } else {
      for (const std::string& change : Changes(*last_, present)) {
        if (left_ > 0) {
          lines += change + '\n';
          --left_;
        }
      }
    }
    PrintNewProblems(present.problems);
    last_ = std::move(present);
    isPrinted_ = Print(kWatchProgram, lines);
    return isPrinted_ && left_ > 0;
  }

  [[nodiscard]] bool IsPrinted() const { return isPrinted_; }

 private:
  void PrintNewProblems(const std::vector<std::string>& problems) {
    for (const std::string& problem : problems) {
      if (std::ranges::find(problems_, problem) == problems_.end()) {
        PrintError(kWatchProgram, problem);
      }
    }
    problems_ = problems;
  }

  tessel::config::Storage& machine_;
  std::uint64_t left_;
  std::optional<Settings> last_;
  std::vector<std::string> problems_;  // of the last reading
  bool isPrinted_ = true;
};

}  // namespace

std::string WatchSettingsHelp() {
  return Help(
      {kWatchProgram, "Shows each change of the telemetry service's settings as it happens",
       "[COUNT | -help]", "COUNT\tEnd after so many changes; without it, when stopped\n",
       "A line for each change: the setting, the layout, the old and the new value.\n"
       "'-' is not stored. A value of an unexpected type has its type in front. Nothing is\n"
       "changed or created.\n"
       "\n"
       "EXIT STATUS:\n"
       "0\tas many changes as asked for were shown\n"
       "1\tthe settings cannot be watched, or the output cannot be written\n"
       "2\twrong arguments\n"});
}

int WatchSettings(int argc, const char* const* argv) {
  std::uint64_t count = (std::numeric_limits<std::uint64_t>::max)();
  if (argc == 2 && argv[1] == std::string_view("-help")) {
    return Print(kWatchProgram, WatchSettingsHelp()) ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  if (argc > 1) {
    const auto given = ParseCount(argv[1]);
    if (argc > 2 || !given) {
      PrintError(kWatchProgram,
                 "takes nothing but a number of changes from 1 to 4294967295, or -help");
      return kUsageError;
    }
    count = *given;
  }
  const auto machine = OpenMachine();
  if (!machine) {
    PrintError(kWatchProgram, fmt::format("cannot open HKLM: {}", Reason(machine.error())));
    return EXIT_FAILURE;
  }
  ChangePrinter printer(**machine, count);
  if (const auto error = WatchNearestKey(kMakerKey, [&printer] { return printer.Look(); })) {
    PrintError(kWatchProgram, fmt::format("cannot watch the settings: {}", Reason(error)));
    return EXIT_FAILURE;
  }
  return printer.IsPrinted() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace settings_tools
