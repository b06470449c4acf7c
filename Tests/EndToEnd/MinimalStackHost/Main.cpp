// A stack host of a few hundred lines, written from the platform's headers alone: it shows that the plug-in depends on
// nothing else of its host. It runs a script of steps and ends with 0 when all of them went as they should.

#include <dlfcn.h>
#include <log4cplus/configurator.h>
#include <log4cplus/initializer.h>

#include <boost/filesystem/operations.hpp>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "KnxStack/IApplicationProgram.h"
#include "Stack.h"

namespace MinimalStackHost {
namespace {

constexpr std::chrono::seconds ValueLimit{20};

constexpr const char* Usage =
    "usage: minimalstackhost LIBRARY [OPTION...] STEP...\n"
    "options: --app-id=TEXT  --app-type=NUMBER  --serial=HEX  --object=NUMBER:MAIN.SUB  --text=SLOT:TEXT\n"
    "steps:   create  init  wait-running[=SECONDS]  wait-error[=SECONDS]  restart  exit  delete\n"
    "         write=OBJECT:HEX  response=OBJECT:HEX  read=OBJECT:HEX  read-silent=OBJECT  expect=OBJECT:HEX\n"
    "         load-event=NUMBER\n";

/// A step or an option that did not go as it should.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

void Require(bool condition, const std::string& otherwise) {
    if (!condition) {
        throw Failure(otherwise);
    }
}

/// The part of a text before a separator, and the part behind it, which is empty without one.
std::pair<std::string, std::string> Split(const std::string& text, char separator) {
    const auto position = text.find(separator);
    return position == std::string::npos ? std::make_pair(text, std::string())
                                         : std::make_pair(text.substr(0, position), text.substr(position + 1));
}

std::uint16_t ToNumber(const std::string& text) {
    std::size_t end = 0;
    const unsigned long number = std::stoul(text, &end);
    Require(end == text.size() && number <= 0xFFFF, "\"" + text + "\" is no number");
    return static_cast<std::uint16_t>(number);
}

class Plugin {
public:
    explicit Plugin(const std::string& path)
        : handle_(dlopen(boost::filesystem::absolute(path).c_str(), RTLD_NOW | RTLD_LOCAL), dlclose) {
        Require(handle_ != nullptr, path + " cannot be loaded");
        const auto version = Find<decltype(getKnxStackApiVersion)>("getKnxStackApiVersion")();
        Require(version == KnxStack::ApiVersion, "the library has version " + std::to_string(version));
        Print("library loaded, version " + std::to_string(version));
    }

    KnxStack::IApplicationProgram* Create() const {
        return Find<decltype(createApplicationProgram)>("createApplicationProgram")();
    }
    void Delete(KnxStack::IApplicationProgram* program) const {
        Find<decltype(deleteApplicationProgram)>("deleteApplicationProgram")(program);
    }

private:
    template <typename Function>
    Function* Find(const char* name) const {
        void* const symbol = dlsym(handle_.get(), name);
        Require(symbol != nullptr, std::string(name) + " is missing");
        return reinterpret_cast<Function*>(symbol);
    }

    const std::unique_ptr<void, int (*)(void*)> handle_;
};

/// Runs the steps, all calls of the plug-in on the calling thread.
class Script {
public:
    Script(const std::string& library, const Device& device) : plugin_(library), stack_(device) {}
    ~Script() {
        if (program_ != nullptr) {
            program_->Exit();
            plugin_.Delete(program_);
        }
    }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    void Run(const std::string& step) {
        Print("> " + step);
        const auto [name, argument] = Split(step, '=');
        const auto found = steps_.find(name);
        Require(found != steps_.end(), "there is no such step");
        found->second(argument);
    }

private:
    using Step = std::function<void(const std::string& argument)>;

    void Create() {
        Require(program_ == nullptr, "there is a program already");
        program_ = plugin_.Create();
    }
    void Delete() {
        plugin_.Delete(program_);
        program_ = nullptr;
    }
    void Call(const char* name, int expected, const std::function<int()>& call) {
        Require(program_ != nullptr, "there is no program");
        const int result = call();
        Print(std::string(name) + " returned " + std::to_string(result));
        Require(result == expected, "expected " + std::to_string(expected));
    }
    void WaitForRunState(const std::string& seconds, bool expected) {
        const auto limit = std::chrono::seconds(seconds.empty() ? 60 : ToNumber(seconds));
        Require(stack_.WaitForRunState(limit) == expected, "that did not come");
    }
    void Read(const std::string& argument) {
        const auto [object, expected] = Split(argument, ':');
        const auto value = stack_.SendRead(ToNumber(object));
        Print("answer: " + (value ? ToHex(*value) : "none"));
        Require(value == FromHex(expected), "expected " + expected);
    }
    void Send(const std::string& argument, bool (Stack::*send)(std::uint16_t, const Bytes&)) {
        const auto [object, value] = Split(argument, ':');
        Require((stack_.*send)(ToNumber(object), FromHex(value)), "it was not taken");
    }
    void Expect(const std::string& argument) {
        const auto [object, value] = Split(argument, ':');
        Require(stack_.WaitForValue(ToNumber(object), FromHex(value), ValueLimit), "that did not come");
    }

    const std::map<std::string, Step> steps_{
        {"create", [this](const std::string&) { Create(); }},
        {"init",
         [this](const std::string&) {
             stack_.Forget();
             Call("Init", 2, [this] { return program_->Init(stack_); });
         }},
        {"restart",
         [this](const std::string&) {
             stack_.Forget();
             Call("OnDeviceRestart", 2, [this] { return program_->OnDeviceRestart(); });
         }},
        {"exit", [this](const std::string&) { Call("Exit", 1, [this] { return program_->Exit(); }); }},
        {"delete", [this](const std::string&) { Delete(); }},
        {"wait-running", [this](const std::string& seconds) { WaitForRunState(seconds, true); }},
        {"wait-error", [this](const std::string& seconds) { WaitForRunState(seconds, false); }},
        {"write", [this](const std::string& argument) { Send(argument, &Stack::SendWrite); }},
        {"response", [this](const std::string& argument) { Send(argument, &Stack::SendResponse); }},
        {"read", [this](const std::string& argument) { Read(argument); }},
        {"read-silent",
         [this](const std::string& object) { Require(!stack_.SendRead(ToNumber(object)), "it was answered"); }},
        {"expect", [this](const std::string& argument) { Expect(argument); }},
        {"load-event",
         [this](const std::string& event) { stack_.WriteLoadEvent(static_cast<std::uint8_t>(ToNumber(event))); }},
    };

    const Plugin plugin_;
    Stack stack_;
    KnxStack::IApplicationProgram* program_ = nullptr;
};

void SetOption(Device& device, const std::string& option) {
    const auto [name, value] = Split(option, '=');
    const auto [key, content] = Split(value, ':');
    if (name == "--app-id") {
        device.appId = value;
    } else if (name == "--app-type") {
        device.appType = static_cast<std::uint8_t>(ToNumber(value));
    } else if (name == "--serial") {
        device.serialNumber = FromHex(value);
    } else if (name == "--text") {
        device.texts[ToNumber(key)] = content;
    } else if (name == "--object") {
        const auto [mainNumber, subNumber] = Split(content, '.');
        device.objectTypes[ToNumber(key)] = std::uint32_t{ToNumber(mainNumber)} << 16U | ToNumber(subNumber);
    } else {
        throw Failure("there is no option " + name);
    }
}

int Main(const std::vector<std::string>& arguments) {
    if (arguments.size() < 2) {
        std::cerr << Usage;
        return 2;
    }
    const log4cplus::Initializer initializer;
    constexpr bool LogToStandardError = true;
    log4cplus::BasicConfigurator::doConfigure(log4cplus::Logger::getDefaultHierarchy(), LogToStandardError);
    try {
        Device device;
        std::vector<std::string> steps;
        for (auto argument = std::next(arguments.begin()); argument != arguments.end(); ++argument) {
            if (argument->compare(0, 2, "--") == 0) {
                SetOption(device, *argument);
            } else {
                steps.push_back(*argument);
            }
        }
        Script script(arguments.front(), device);
        for (const std::string& step : steps) {
            script.Run(step);
        }
    } catch (const std::exception& error) {
        std::cerr << "minimalstackhost: failed: " << error.what() << std::endl;
        return 1;
    }
    Print("done");
    return 0;
}

}  // namespace
}  // namespace MinimalStackHost

int main(int argc, char** argv) {
    return MinimalStackHost::Main({argv + 1, argv + argc});
}
