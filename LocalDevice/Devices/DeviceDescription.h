#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace LocalDevice {

/// The flags of a group object, as a configuration tool shows them.
struct GroupObjectFlags {
    bool communication = true;  ///< C: gates everything
    bool read = false;          ///< R: answers GroupValueRead
    bool write = false;         ///< W: accepts GroupValueWrite
    bool transmit = false;      ///< T: sends what the application writes
    bool update = false;        ///< U: accepts GroupValueResponse
    bool readOnInit = false;    ///< I: is read after loading
};

/// One communication object of a description.
struct CommunicationObject {
    std::uint16_t number = 0;  ///< 1 to 520
    std::string name;
    std::uint32_t dpt = 0;  ///< main number in the upper 16 bits, sub number in the lower 16 bits
    GroupObjectFlags flags;
    std::vector<std::uint16_t> groupAddresses;  ///< the first one is the sending address; may be empty
};

/// What a configuration tool downloads into a device, with the device's own identity.
struct DeviceDescription {
    std::string name;    ///< of the description, for people; without control characters
    std::string source;  ///< the file it came from

    std::array<std::uint8_t, 6> serialNumber{};
    std::array<std::uint8_t, 6> hardwareType{};
    std::string friendlyName;  ///< as stored, 30 bytes at most
    std::uint16_t individualAddress = 0;
    std::vector<std::uint16_t> additionalIndividualAddresses;

    std::string appId;                     ///< 1 to 64 letters, digits, "_", "-" and "."
    std::uint8_t appType = 0;              ///< 0 native, 1 managed
    std::uint8_t displayTextSpeed = 0;     ///< 0 slow, 1 medium, 2 fast
    std::uint8_t displayTextWrapping = 1;  ///< 0 continuous scrolling, 1 page by page, 2 no ticker

    std::map<std::uint16_t, std::uint32_t> ipParameters;      ///< by slot 1 to 50; first octet in the highest byte
    std::map<std::uint16_t, std::uint32_t> numberParameters;  ///< by slot 1 to 50
    std::map<std::uint16_t, std::string> textParameters;      ///< by slot 1 to 50, UTF-8, 127 bytes at most

    std::map<std::uint16_t, CommunicationObject> communicationObjects;  ///< by number
};

/// What is wrong with a description: `what()` is one line that names the file, the place and what was expected.
class DescriptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads a description. Throws `DescriptionError`.
DeviceDescription LoadDeviceDescription(const std::string& path);

}  // namespace LocalDevice
