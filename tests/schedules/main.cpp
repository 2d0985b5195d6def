// usage: schedules [--preemptions NUMBER] [ENCOUNTER [SCHEDULE]]
// Tries every schedule of all encounters or of one, or repeats one schedule step by step. A
// schedule is the list of the choices that differ from possibility 0: POINT:CHOICE,...
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "encounters.h"

namespace schedules {
namespace {

constexpr int kPreemptions = 3;
constexpr const char* kFirstChoices = "none";

/// Advances to the next schedule that was not tried yet; returns whether there is one.
bool Advance(Choices& choices) {
  while (!choices.empty()) {
    if (++choices.back().taken < choices.back().options) {
      return true;
    }
    choices.pop_back();
  }
  return false;
}

struct Result {
  unsigned long long schedules = 0;
  std::string finding;
  Choices choices;  // of the finding
};

Result Explore(const Encounter& encounter, int preemptions) {
  Result result;
  Choices choices;
  do {
    Outcome outcome = Run(encounter.run, choices, preemptions, /*tracing=*/false);
    result.schedules += outcome.isRedundant ? 0 : 1;
    choices = std::move(outcome.choices);
    if (!outcome.finding.empty()) {
      result.finding = std::move(outcome.finding);
      result.choices = std::move(choices);
      return result;
    }
  } while (Advance(choices));
  return result;
}

std::string ToText(const Choices& choices) {
  std::string text;
  for (std::size_t point = 0; point != choices.size(); ++point) {
    if (choices[point].taken != 0) {
      text += (text.empty() ? "" : ",") + std::to_string(point) + ":" +
              std::to_string(choices[point].taken);
    }
  }
  return text.empty() ? kFirstChoices : text;
}

Choices ToChoices(const char* text) {
  Choices choices;
  while (std::isdigit(static_cast<unsigned char>(*text)) != 0) {
    char* end = nullptr;
    const unsigned long point = std::strtoul(text, &end, 10);
    choices.resize(point + 1);
    choices.back().taken = static_cast<int>(std::strtol(end + 1, &end, 10));
    text = *end == ',' ? end + 1 : end;
  }
  return choices;
}

/// A finding, with the smallest number of preemptions that it takes.
Result ExploreLeast(const Encounter& encounter, int most, int& least) {
  for (least = 0;; ++least) {
    Result result = Explore(encounter, least);
    if (!result.finding.empty() || least == most) {
      return result;
    }
  }
}

int Repeat(const Encounter& encounter, const Choices& choices, int preemptions) {
  const Outcome outcome = Run(encounter.run, choices, preemptions, /*tracing=*/true);
  std::printf("%s%s\n", outcome.trace.c_str(),
              outcome.finding.empty() ? "all holds" : outcome.finding.c_str());
  return outcome.finding.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

bool Try(const Encounter& encounter, int preemptions, unsigned long long& total) {
  Result result = Explore(encounter, preemptions);
  std::printf("%-40s %12llu\n", encounter.name, result.schedules);
  std::fflush(stdout);
  total += result.schedules;
  if (result.finding.empty()) {
    return true;
  }
  int least = 0;
  result = ExploreLeast(encounter, preemptions, least);
  std::printf("schedules: %s fails with %d preemptions; again: script/schedules %s %s\n",
              encounter.name, least, encounter.name, ToText(result.choices).c_str());
  Repeat(encounter, result.choices, least);
  return false;
}

bool TryChecks() {
  for (const Encounter& check : SelfChecks()) {
    int least = 0;
    const Result result = ExploreLeast(check, kPreemptions, least);
    const bool isFound = !result.finding.empty();
    if (isFound != (check.finding != nullptr) ||
        (isFound &&
         (least != check.preemptions || result.finding.find(check.finding) == std::string::npos))) {
      std::printf("%s: not as it should be, with %d preemptions: %s\n", check.name, least,
                  isFound ? result.finding.c_str() : "all holds");
      return false;
    }
  }
  return true;
}

}  // namespace
}  // namespace schedules

int main(int argc, char** argv) {
  using namespace schedules;
  int preemptions = kPreemptions;
  if (argc > 2 && std::strcmp(argv[1], "--preemptions") == 0) {
    preemptions = static_cast<int>(std::strtol(argv[2], nullptr, 10));
    argv += 2;
    argc -= 2;
  }
  Encounters encounters = TaskEncounters();
  for (const Encounters& more : {ExecutorEncounters(), SignalEncounters(), StorageEncounters()}) {
    encounters.insert(encounters.end(), more.begin(), more.end());
  }
  if (argc > 2) {
    for (const Encounters& checks : {SelfChecks(), encounters}) {
      for (const Encounter& encounter : checks) {
        if (std::strcmp(encounter.name, argv[1]) == 0) {
          const Choices choices = ToChoices(argv[2]);
          // Threads are stopped only where the schedule says so.
          return Repeat(encounter, choices, static_cast<int>(choices.size()) + 1);
        }
      }
    }
    return 2;
  }
  if (!TryChecks()) {
    return EXIT_FAILURE;
  }
  unsigned long long total = 0;
  bool isFound = false;
  for (const Encounter& encounter : encounters) {
    if (argc < 2 || std::strncmp(encounter.name, argv[1], std::strlen(argv[1])) == 0) {
      isFound = true;
      if (!Try(encounter, preemptions, total)) {
        return EXIT_FAILURE;
      }
    }
  }
  std::printf("%-40s %12llu\n", "schedules with their preemptions", total);
  return isFound ? EXIT_SUCCESS : 2;
}
