#include "FullDownload.h"

#include <array>
#include <string>
#include <utility>

#include "Zandrel/KnxOdsMapping.h"

namespace TestSupport {

namespace {

using Zandrel::CoChannelAttr;
using Zandrel::ParamAttr;
using Zandrel::ParameterType;
namespace KnxOdsMapping = Zandrel::KnxOdsMapping;

/// Known main types, and two (250, 60000) that no table knows.
constexpr std::array<std::uint32_t, 10> MainTypes = {1, 5, 7, 9, 12, 13, 14, 16, 250, 60000};

CoChannelAttr MakeCo(std::uint16_t number, int logicalDevice) {
    CoChannelAttr co;
    co.valid = number % 13 != 0;
    co.mayBeWritten = number % 2 == 0;
    co.number = number;
    co.channelId = KnxOdsMapping::GetCoChannelObjModelId(number, logicalDevice).value();
    co.name = "Co" + std::to_string(number);
    co.dpt = (co.valid ? MainTypes.at(number % MainTypes.size()) << 16U : 0U) + number % 7;
    co.communicationFlag = co.valid && number % 3 == 0;
    return co;
}

std::string MakeParameterText(ParameterType type, std::uint16_t slot) {
    switch (type) {
        case ParameterType::Ip:
            return "192.168.1." + std::to_string(slot);
        case ParameterType::Number:
            return std::to_string(85899345U * slot);
        case ParameterType::Text:
            break;
    }
    return slot % 10 == 0 ? "" : "Text \"" + std::to_string(slot) + "\" of the configuration tool";
}

std::vector<ParamAttr> MakeParameters(ParameterType type, int logicalDevice) {
    std::vector<ParamAttr> parameters;
    for (std::uint16_t slot = 1; slot <= Zandrel::ParameterSlots; ++slot) {
        ParamAttr parameter;
        parameter.active = true;
        parameter.channelId = KnxOdsMapping::GetParameterChannelObjModelId(slot, logicalDevice, type).value();
        parameter.value = MakeParameterText(type, slot);
        parameter.type = type;
        parameters.push_back(std::move(parameter));
    }
    return parameters;
}

}  // namespace

Zandrel::KnxConfiguration MakeFullDownload(Zandrel::LogicalDeviceId logicalDevice) {
    Zandrel::KnxConfiguration download;
    download.cos.emplace_back();
    for (std::uint16_t number = 1; number <= Zandrel::MaxCoNumber; ++number) {
        download.cos.push_back(MakeCo(number, logicalDevice.Value()));
    }
    download.ipParameters = MakeParameters(ParameterType::Ip, logicalDevice.Value());
    download.numberParameters = MakeParameters(ParameterType::Number, logicalDevice.Value());
    download.textParameters = MakeParameters(ParameterType::Text, logicalDevice.Value());
    return download;
}

}  // namespace TestSupport
