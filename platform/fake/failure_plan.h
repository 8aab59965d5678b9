// platform/fake/failure_plan.h: the failures a test plans for the next calls
// of an operation, shared by every part of the test double.
#pragma once

#include <map>
#include <mutex>
#include <utility>

#include "platform/platform.h"

namespace plat {

template <class Op>
class FailurePlan {
 public:
  // The next `count` calls of `op` fail with `error`; 0 cancels the plan.
  void Plan(Op op, SysErr error, int count) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (count <= 0) {
      failures_.erase(op);
      return;
    }
    failures_[op] = {error, count};
  }

  // The error planned for this call of `op`, left as the last error like a
  // real failure; kOk to pass through.
  SysErr Take(Op op, SystemInfo& system) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = failures_.find(op);
    if (it == failures_.end()) return kOk;
    const SysErr error = it->second.first;
    if (--it->second.second == 0) failures_.erase(it);
    system.SetLastError(error);
    return error;
  }

 private:
  std::mutex mutex_;
  std::map<Op, std::pair<SysErr, int>> failures_;
};

}  // namespace plat
