// Ends the program when main has returned. Wine would run the destructors of static objects after
// everything of Windows has ended, and with Wine 10 they then fault for ever. Must be linked with
// --wrap=main.
#include <cstdio>
#include <cstdlib>

int TestMain(int argc, char** argv) __asm__("__real_main");
int MainOfWine(int argc, char** argv) __asm__("__wrap_main");

int MainOfWine(int argc, char** argv) {
  const int status = TestMain(argc, argv);
  std::fflush(nullptr);
  std::_Exit(status);
}
