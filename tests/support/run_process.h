// tests/support/run_process.h: runs a program to its end and collects what
// it wrote, for tests that drive a built executable (tmhost, helpers).
#pragma once

#include <string>
#include <vector>

namespace support {

struct ProcessResult {
  int status = -1;  // the exit status, or 128 + the signal that ended it
  std::string out;
  std::string err;
};

// Runs `program` with `args` (no shell), standard input closed.
ProcessResult RunProcess(const std::string& program,
                         const std::vector<std::string>& args);

}  // namespace support
