#include "IoState.h"

#include <exception>

#include "ContainExceptions.h"
#include "Zandrel/Logging.h"

namespace Zandrel {

IoState::~IoState() {
    Stop();
}

void IoState::Start() {
    work_ = std::make_unique<boost::asio::io_service::work>(service_);
    thread_ = boost::thread([this] {
        for (bool finished = false; !finished;) {
            try {
                service_.run();
                finished = true;
            } catch (const std::exception& error) {
                LogException(GetGlobalDefaultLogger(), "Start", error);
            }
        }
    });
}

void IoState::Stop() {
    work_.reset();
    if (thread_.joinable()) {
        thread_.join();
    }
}

}  // namespace Zandrel
