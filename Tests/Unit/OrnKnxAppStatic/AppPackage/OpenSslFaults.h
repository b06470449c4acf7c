#pragma once

#include <atomic>
#include <ctime>

/// Makes functions of OpenSSL fail, and the clock stand still, in the program that links it. Shows what arrives there.
namespace OpenSslFaults {

/// Each makes the next call fail, and is off again after it.
inline std::atomic<bool> newStore{false};
inline std::atomic<bool> newContext{false};
inline std::atomic<bool> addCertificate{false};
inline std::atomic<bool> initContext{false};
inline std::atomic<bool> fetchDigest{false};
inline std::atomic<bool> getPublicKey{false};
inline std::atomic<bool> updateDigest{false};
inline std::atomic<bool> verifySignature{false};

/// So many calls later one fails; 0: none does.
inline std::atomic<int> newDigestContext{0};

/// What the clock shows; 0: the real time.
inline std::atomic<std::time_t> clock{0};

/// The time of the last chain check, as libcrypto has it.
inline std::atomic<std::time_t> checkTime{0};

}  // namespace OpenSslFaults
