#pragma once

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <optional>
#include <type_traits>

namespace LocalDevice {

/// The place for one registered user, who is called without a lock and gone for good once taken off. Thread-safe.
///
/// `User` is what is registered, not owned.
template <typename User>
class UserSlot {
public:
    UserSlot() = default;
    ~UserSlot() = default;
    UserSlot(const UserSlot&) = delete;
    UserSlot& operator=(const UserSlot&) = delete;

    /// Makes `user` the one to call, in place of an earlier one.
    void Set(User& user) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        user_ = &user;
    }

    /// Takes `user` off and waits until no call is running. Not to be called from within a call. False when `user` was
    /// not the registered one.
    bool Clear(const User& user) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        if (user_ != &user) {
            return false;
        }
        user_ = nullptr;
        idle_.wait(lock, [this] { return running_ == 0; });
        return true;
    }

    bool IsSet() const {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return user_ != nullptr;
    }

    /// What `call(user)` returns, on the calling thread; none without a user. Several calls may run at once.
    template <typename Function, typename Result = std::invoke_result_t<Function, User&>>
    std::optional<Result> Call(Function call) {
        User* const user = Enter();
        if (user == nullptr) {
            return std::nullopt;
        }
        const Leaver leaver(*this);
        return call(*user);
    }

    /// Runs `call(user)` on the calling thread. False without a user.
    template <typename Function>
    bool Notify(Function call) {
        return Call([&call](User& user) {
                   call(user);
                   return true;
               })
            .has_value();
    }

private:
    class Leaver {
    public:
        explicit Leaver(UserSlot& slot) : slot_(slot) {}
        ~Leaver() { slot_.Leave(); }
        Leaver(const Leaver&) = delete;
        Leaver& operator=(const Leaver&) = delete;

    private:
        UserSlot& slot_;
    };

    User* Enter() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        if (user_ != nullptr) {
            ++running_;
        }
        return user_;
    }

    void Leave() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        if (--running_ == 0) {
            idle_.notify_all();
        }
    }

    mutable boost::mutex mutex_;
    boost::condition_variable idle_;
    User* user_ = nullptr;
    unsigned running_ = 0;
};

}  // namespace LocalDevice
