#include "IdleWork.h"

#include <gmock/gmock.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <functional>
#include <string>
#include <vector>

namespace {

using boost::asio::post;
using testing::ElementsAre;

class IdleWork : public testing::Test {
protected:
    std::function<void()> Note(const std::string& name) {
        return [this, name] { done.push_back(name); };
    }

    boost::asio::io_context io;
    LocalDevice::IdleWork sut{io};
    std::vector<std::string> done;
};

TEST_F(IdleWork, WaitsUntilTheContextHasNothingReady) {
    post(io, [this] {
        sut.Post(Note("idle"));
        post(io, Note("next"));
        post(io, [this] { post(io, Note("last")); });
    });
    sut.Run();
    EXPECT_THAT(done, ElementsAre("next", "last", "idle"));
}

TEST_F(IdleWork, KeepsItsOrder) {
    post(io, [this] {
        sut.Post(Note("a"));
        sut.Post(Note("b"));
    });
    sut.Run();
    EXPECT_THAT(done, ElementsAre("a", "b"));
}

TEST_F(IdleWork, ThatMakesMoreIsDoneBeforeIt) {
    const auto stayUntilStopped = boost::asio::make_work_guard(io);
    post(io, [this] {
        sut.Post([this] {
            sut.Post([this] {
                done.emplace_back("second");
                io.stop();
            });
            done.emplace_back("first");
            post(io, [] {});
        });
    });
    sut.Run();
    EXPECT_THAT(done, ElementsAre("first", "second"));
}

TEST_F(IdleWork, IsDoneThoughTheContextAlwaysHasSomethingReady) {
    int handlers = 0;
    bool isDone = false;
    std::function<void()> again = [&] {
        ++handlers;
        if (!isDone) {
            post(io, again);
        }
    };
    post(io, [&] { sut.Post([&] { isDone = true; }); });
    post(io, again);
    sut.Run();
    EXPECT_TRUE(isDone);
    EXPECT_LE(handlers, LocalDevice::IdleWork::MostBefore);
}

TEST_F(IdleWork, EndsWithTheContext) {
    post(io, [this] {
        post(io, Note("never"));
        io.stop();
    });
    sut.Run();
    EXPECT_TRUE(done.empty());
}

}  // namespace
