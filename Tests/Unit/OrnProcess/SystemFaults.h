#pragma once

#include <atomic>

/// Stands between the code of a test program and the C library, and Boost's files: counts calls, and lets a test make
/// the system fail. Everything is passed on unless a test says otherwise.
namespace SystemFaults {

inline std::atomic<int> waitpidCalls{0};
inline std::atomic<int> lastWaitStatus{0};        ///< what waitpid reported last
inline std::atomic<int> waitpidInterruptions{0};  ///< so many calls fail with EINTR
inline std::atomic<int> waitpidError{0};          ///< the next call fails with this error
inline std::atomic<int> waitpidStatus{0};         ///< the next call reports this status, without waiting

inline std::atomic<int> killCalls{0};
inline std::atomic<int> strayCalls{0};         ///< calls of waitpid and kill for a process that is no child any more
inline std::atomic<bool> killsAreLost{false};  ///< kill succeeds and sends nothing

inline std::atomic<int> forkError{0};         ///< the next call fails with this error
inline std::atomic<int> readError{0};         ///< the next call fails with this error
inline std::atomic<int> duplicationError{0};  ///< the next fcntl that duplicates a descriptor fails with this error

inline std::atomic<const char*> mono{nullptr};  ///< the program that runs in the place of "/usr/bin/mono"

inline std::atomic<bool> closeRangeIsMissing{false};

inline std::atomic<const char*> heldFile{nullptr};  ///< who looks for a file of this path waits as long as it is set
inline std::atomic<bool> isSomebodyHeld{false};     ///< there was somebody

inline std::atomic<bool> strangerForks{false};  ///< right before the next fork another one makes `stranger`
inline std::atomic<int> stranger{0};            ///< a child that holds all descriptors until a signal ends it
inline std::atomic<const char*> strangerProgram{nullptr};  ///< what it becomes at once, where it is to become one

}  // namespace SystemFaults
