#pragma once

#include <sys/types.h>

#include <vector>

namespace TestSupport {

/// The children of a process, ended ones that were not reaped yet included. What another thread of it starts or ends
/// meanwhile may be missing or there; a child never goes unseen because the thread that started it ends.
std::vector<pid_t> GetChildren(pid_t parent);

/// The members of a process group without its leader, wherever they belong, ended ones that were not reaped included.
std::vector<pid_t> GetFollowers(pid_t leader);

/// Whether a thread of this process waits in the kernel: for a lock, for another thread or for input.
bool IsWaiting(pid_t thread);

}  // namespace TestSupport
