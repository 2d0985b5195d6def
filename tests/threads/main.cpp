// usage: thread_checks ROUNDS SEED
#include <csignal>
#include <cstdlib>
#include <unistd.h>

#include "rounds.h"
#include "thread_pool.h"

namespace {

/// A round takes some milliseconds.
constexpr unsigned int kLimitSeconds = 60;
/// A number of rounds after which everything must have happened at least once.
constexpr std::uint32_t kEnoughRounds = 100;

void EndStuckRound(int /*signal*/) {
  constexpr char kText[] = "threads: a round does not end\n";
  static_cast<void>(!write(STDERR_FILENO, kText, sizeof kText - 1));
  _exit(EXIT_FAILURE);
}

}  // namespace

int main(int argc, char** argv) {
  threads::Check(argc == 3, "usage: thread_checks ROUNDS SEED");
  const auto rounds = static_cast<std::uint32_t>(std::strtoul(argv[1], nullptr, 10));
  const auto seed = static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10));
  threads::Check(rounds != 0, "at least one round");

  std::signal(SIGALRM, EndStuckRound);
  threads::StartThreadPool(seed);
  threads::Totals totals;
  for (std::uint32_t round = 0; round != rounds; ++round) {
    alarm(kLimitSeconds);
    threads::RunSignalRound(seed, round, totals);
    threads::RunTaskRound(seed, round, totals);
  }
  threads::StopThreadPool();
  alarm(0);
  for (const auto& [what, count] : totals) {
    std::printf("%-32s %9llu\n", what.c_str(), static_cast<unsigned long long>(count));
    threads::Check(count != 0 || rounds < kEnoughRounds, "each thing happens now and then");
  }
  return EXIT_SUCCESS;
}
