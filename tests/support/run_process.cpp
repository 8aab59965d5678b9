// tests/support/run_process.cpp: fork, exec and read both pipes until the
// child closes them.
#include "tests/support/run_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

ProcessResult RunProcess(const std::string& program,
                         const std::vector<std::string>& args) {
  ProcessResult result;
  int out[2];
  int err[2];
  if (pipe(out) != 0) return result;
  if (pipe(err) != 0) {
    close(out[0]);
    close(out[1]);
    return result;
  }
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(program.c_str()));
  for (const std::string& a : args)
    argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);

  const pid_t pid = fork();
  if (pid == 0) {
    const int null = open("/dev/null", O_RDONLY);
    dup2(null, 0);
    dup2(out[1], 1);
    dup2(err[1], 2);
    close(out[0]);
    close(err[0]);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  std::string* sinks[2] = {&result.out, &result.err};
  int open_pipes = 2;
  while (pid > 0 && open_pipes > 0) {
    if (poll(fds, 2, -1) < 0) break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[4096];
      const ssize_t n = read(fds[i].fd, buffer, sizeof(buffer));
      if (n > 0) {
        sinks[i]->append(buffer, static_cast<std::size_t>(n));
      } else {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open_pipes;
      }
    }
  }
  for (const pollfd& f : fds) {
    if (f.fd >= 0) close(f.fd);
  }
  int status = 0;
  if (pid > 0 && waitpid(pid, &status, 0) == pid) {
    result.status =
        WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  return result;
}

}  // namespace support
