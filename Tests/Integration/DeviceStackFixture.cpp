#include "DeviceStackFixture.h"

#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace IntegrationTest {

using nlohmann::json;
using TestSupport::WebSocketClient;

DeviceStackFixture::DeviceStackFixture()
    : sut(ORN_DEVICESTACK_PROGRAM,
          {"--port", "0", "--serial1", "00ab00000001", "--serial2", "00AB00000002", "--log", folder.At("log")}) {
    const std::optional<std::string> line = sut.WaitForLine("device stack listening on 127.0.0.1:");
    if (!line) {
        throw std::runtime_error("the device stack does not start");
    }
    port_ = static_cast<std::uint16_t>(std::stoul(line->substr(line->rfind(':') + 1)));
}

json DeviceStackFixture::Ask(WebSocketClient& client, const std::string& membersAfterNumber,
                             std::vector<json>* events) {
    static unsigned number = 0;
    ++number;
    client.Send("{\"request\":" + std::to_string(number) + "," + membersAfterNumber + "}", true);
    while (const std::optional<std::string> message = client.Receive()) {
        json received = json::parse(*message);
        if (received.value("request", 0U) == number) {
            return received;
        }
        if (events != nullptr) {
            events->push_back(std::move(received));
        }
    }
    ADD_FAILURE() << "no answer to " << membersAfterNumber.substr(0, 100);
    return json::object();
}

void DeviceStackFixture::Register(WebSocketClient& client, const std::string& name) {
    EXPECT_TRUE(Ask(client, R"("command":"RegisterApplication","name":")" + name + R"(","type":"t","domain":"d")")
                    .contains("response"));
    EXPECT_TRUE(Ask(client, R"("command":"EnableNativeFormat")").contains("response"));
}

void DeviceStackFixture::Configure() {
    WebSocketClient client(port_);
    EXPECT_TRUE(Ask(client, R"("command":"SetConfiguration","configuration":{"devices":[{"id":1,"channels":[{"id":10,)"
                            R"("datapoints":[{"id":100},{"id":101,"eventAlways":"1"}]}]}]})")
                    .contains("response"));
}

bool DeviceStackFixture::IsServing() {
    WebSocketClient client(port_);
    return Ask(client, R"("command":"GetDeviceConfig")").contains("response");
}

std::string DeviceStackFixture::ReadLog() const {
    std::ifstream file(folder.At("log"));
    return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t DeviceStackFixture::CountDescriptors() const {
    const boost::filesystem::directory_iterator files("/proc/" + std::to_string(sut.GetPid()) + "/fd");
    return static_cast<std::size_t>(std::distance(files, boost::filesystem::directory_iterator()));
}

}  // namespace IntegrationTest
