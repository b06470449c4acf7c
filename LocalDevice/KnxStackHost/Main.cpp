#include <poll.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/system/system_error.hpp>
#include <boost/thread/thread.hpp>
#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "Bus/KnxdConnection.h"
#include "Control/ControlCommands.h"
#include "Control/ControlServer.h"
#include "GroupObjects/ValueFormat.h"
#include "HostOptions.h"
#include "KnxAddress.h"
#include "KnxStackHost.h"
#include "LongestHostEnd.h"
#include "OpenStandardStreams.h"
#include "Output/LifePrinter.h"
#include "Output/PluginLog.h"
#include "PrintableText.h"
#include "Support/StopSignal.h"

namespace LocalDevice {

namespace {

/// A handler, unlike SIG_IGN, is not passed on to the programs that the plug-in starts.
void IgnoreBrokenPipes() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    sigaction(SIGPIPE, &action, nullptr);
}

void PrintDevice(LifePrinter& printer, const DeviceDescription& device, const HostOptions& options) {
    printer.Print("KNX stack host: " + device.name + ", app " + device.appId + ", " +
                  FormatIndividualAddress(device.individualAddress) + ", " +
                  std::to_string(device.communicationObjects.size()) + " group objects, bus " +
                  (options.bus.IsInProcess() ? "in-process" : "knxd at " + options.bus.knxdUrl));
}

/// The running program: started in order, ended in the reverse order.
class Program {
public:
    explicit Program(const HostOptions& options) {
        auto factory = PluginLibrary::Load(options.library);
        const DeviceDescription device = LoadDeviceDescription(options.device);
        log_.emplace(events_, options.log);
        if (!options.isQuiet) {
            printer_.emplace(events_, std::cout, IsColourWanted());
            PrintDevice(*printer_, device, options);
        }
        host_.emplace(device, options.bus, std::move(factory), events_, options.downloadPause);
        commands_.emplace(*host_, device, LoadDeviceDescription);
        if (!options.control.empty()) {
            server_.emplace(options.control, events_,
                            [this](const nlohmann::json& request) { return commands_->Execute(request); });
        }
    }
    ~Program() {
        events_.Publish(MessageEvent{false, "ending"});
        host_->StopWaiting();  // for what the control socket waits for
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void Start() { host_->GetApplication().Start(); }
    /// While `Start` runs or after it.
    void StopTrying() { host_->GetApplication().StopTrying(); }

private:
    HostEvents events_;
    std::optional<PluginLog> log_;
    std::optional<LifePrinter> printer_;
    std::optional<KnxStackHost> host_;
    std::optional<ControlCommands> commands_;
    std::optional<ControlServer> server_;
};

/// Waits for signals on the calling thread, while another one starts and ends the program: the first signal ends it in
/// order, the second one hard.
class SignalLoop {
public:
    void Run(std::unique_ptr<Program> program) {
        program_ = std::move(program);
        WaitForSignal();
        boost::thread worker([this] {
            program_->Start();
            stop_.Wait();
            program_.reset();
            boost::asio::post(io_, [this] { io_.stop(); });
        });
        io_.run();
        worker.join();
    }

private:
    void WaitForSignal() {
        signals_.async_wait([this](const boost::system::error_code& error, int) {
            if (!error) {
                OnSignal();
            }
        });
    }

    void OnSignal() {
        const auto now = std::chrono::steady_clock::now();
        if (stop_.IsStopped()) {
            if (now - stoppedAt_ > OneSignal) {
                EndHard("ended hard by a second signal");
            }
            WaitForSignal();
            return;
        }
        stoppedAt_ = now;
        program_->StopTrying();  // it is there: its end waits for the next line
        stop_.Stop();
        limit_.expires_after(LongestHostEnd);
        limit_.async_wait([](const boost::system::error_code& error) {
            if (!error) {
                EndHard("the application program does not end; ended hard");
            }
        });
        WaitForSignal();
    }

    /// Says why where that does not have to wait for a reader.
    [[noreturn]] static void EndHard(const char* reason) {
        pollfd error{STDERR_FILENO, POLLOUT, 0};
        if (poll(&error, 1, 0) == 1) {
            std::cerr << "knxstackhost: " << reason << std::endl;
        }
        _exit(ExitCode::Failure);
    }

    /// Signals so close to each other are one: of a parent's death the kernel tells for each of its threads.
    static constexpr std::chrono::milliseconds OneSignal{100};

    boost::asio::io_context io_{1};
    boost::asio::signal_set signals_{io_, SIGTERM, SIGINT};
    boost::asio::steady_timer limit_{io_};
    StopSignal stop_;
    std::chrono::steady_clock::time_point stoppedAt_;
    std::unique_ptr<Program> program_;
};

int Fail(int code, const std::string& text) {
    std::cerr << "knxstackhost: " << MakePrintable(text) << std::endl;
    return code;
}

int Fail(int code, const std::exception& error) {
    return Fail(code, error.what());
}

int Fail(const boost::system::system_error& error) {
    if (error.code() == boost::system::errc::resource_unavailable_try_again) {
        return Fail(ExitCode::Failure, "no thread can be started: " + error.code().message());
    }
    return Fail(ExitCode::Failure, error.what());
}

int Main(const std::vector<std::string>& arguments) {
    try {
        const auto options = ParseHostOptions(arguments);
        if (!options) {
            std::cout << GetHostHelp();
            return ExitCode::Success;
        }
        IgnoreBrokenPipes();
        SignalLoop loop;
        loop.Run(std::make_unique<Program>(*options));
        return ExitCode::Success;
    } catch (const UsageError& error) {
        return Fail(ExitCode::Usage, error);
    } catch (const PluginError& error) {
        return Fail(ExitCode::Library, error);
    } catch (const DescriptionError& error) {
        return Fail(ExitCode::Device, error);
    } catch (const BusError& error) {
        return Fail(ExitCode::Bus, error);
    } catch (const ControlSocketError& error) {
        return Fail(ExitCode::ControlSocket, error);
    } catch (const boost::system::system_error& error) {
        return Fail(error);
    } catch (const std::exception& error) {
        return Fail(ExitCode::Failure, error);
    }
}

}  // namespace

}  // namespace LocalDevice

int main(int argc, char** argv) {
    LocalDevice::OpenStandardStreams();
    std::cerr.tie(nullptr);  // an error must get out while the standard output is stuck
    return LocalDevice::Main({argv + 1, argv + argc});
}
