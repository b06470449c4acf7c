#include "Program.h"

#include <log4cplus/loggingmacros.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <utility>

namespace LocalDevice {

std::atomic<Program*> Program::running_{nullptr};

Program::Program(AppFunctions app, const std::string& name, int logicalDevice, pid_t parent)
    : logger_(log4cplus::Logger::getInstance("OrnAppHost")),
      session_(logicalDevice, logger_),
      host_(app, logicalDevice, session_, logger_, log4cplus::Logger::getInstance("OrnAppHost." + name)),
      supervision_(parent,
                   {[] { return getppid(); }, [this](int exitCode) { host_.RequestStop(exitCode); }, &std::_Exit},
                   logger_, {}) {}

Program::~Program() {
    session_.Disconnect();
}

int Program::Run() {
    try {
        session_.Connect(*this);
        DeviceModel model = session_.ReadModel();
        static const int registered = std::atexit(&Program::OnExit);
        running_ = registered == 0 ? this : nullptr;
        const int exitCode = host_.Run(std::move(model));
        session_.Drain();
        running_ = nullptr;
        session_.Disconnect();
        return exitCode;
    } catch (const std::exception& error) {
        LOG4CPLUS_FATAL(logger_, "The app host ends: " << error.what());
        return AppHost::Failure;
    }
}

void Program::OnExit() {
    Program* const program = running_.exchange(nullptr);
    if (program == nullptr) {
        return;
    }
    LOG4CPLUS_ERROR(program->logger_, "The app ended the process");
    program->host_.ReportStopped();
    program->session_.Drain();
    static_cast<void>(std::fflush(stdout));
    std::_Exit(AppHost::Failure);
}

void Program::OnCoValue(std::uint16_t co, Zandrel::ZANVALUE value) {
    host_.OnCoValue(co, std::move(value));
}

void Program::OnControlEvent(const Zandrel::ZANVALUE& value) {
    host_.OnControlEvent(value);
}

void Program::OnConnectionChanged(bool connected) {
    supervision_.OnConnectionChanged(connected);
    if (connected) {
        host_.OnReconnected();
    }
}

}  // namespace LocalDevice
