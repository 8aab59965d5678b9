// tests/support/child_program.cpp: the program the process tests start.
//   child exit CODE          ends at once with CODE
//   child sleep MS [CODE]    ends after MS milliseconds with CODE (0)
//   child forever            runs until it is stopped, a minute at most, so
//                            that a broken run leaves nothing for long
#include <unistd.h>

#include <cstdlib>
#include <string_view>

int main(int argc, char** argv) {
  const std::string_view mode = argc >= 2 ? argv[1] : "";
  if (mode == "exit" && argc >= 3) return std::atoi(argv[2]);
  if (mode == "sleep" && argc >= 3) {
    usleep(static_cast<useconds_t>(std::atol(argv[2]) * 1000));
    return argc >= 4 ? std::atoi(argv[3]) : 0;
  }
  if (mode == "forever") {
    for (int i = 0; i < 600; ++i) usleep(100'000);
    return 0;
  }
  return 100;  // unknown mode
}
