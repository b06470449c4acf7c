#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

#include "DptTable.h"
#include "GroupObjectWriter.h"
#include "KnxSideFixture.h"
#include "ParameterReader.h"
#include "StackAccess.h"
#include "TickerThreadManager.h"

namespace TestSupport {

/// A reader on a stack whose application was downloaded.
class ParameterReaderFixture : public KnxSideFixture {
protected:
    static constexpr std::size_t TextBlock = 128;  ///< bytes of the application's memory

    ParameterReaderFixture() { Attach(); }

    void Attach() {
        access_.Attach({&stack_.GroupValues(), &stack_.Properties(), &stack_.Application(), &stack_.Memory()});
    }

    FakeProperty& Own(std::uint16_t propertyId) { return stack_.Application().Property(propertyId); }
    FakeProperty& Ip(std::uint16_t propertyId) { return stack_.Properties().Object(11).Property(propertyId); }

    bool Init() { return sut_.InitObjectModel(Device, configuration_); }

    /// The one ERROR line of `operation`.
    static Lines Error(const std::string& operation, const std::string& message) {
        return {{"ERROR", "[app] " + operation + " - " + message}};
    }
    /// The lines of level ERROR.
    Lines Errors() const {
        Lines lines = log_.GetLines();
        lines.erase(std::remove_if(lines.begin(), lines.end(), [](const auto& line) { return line.level == "DEBUG"; }),
                    lines.end());
        return lines;
    }

    Zandrel::StackAccess access_;
    Zandrel::DptTable dpts_;
    Zandrel::GroupObjectWriter writer_{access_, dpts_};
    Zandrel::TickerThreadManager tickers_{
        log_.GetLogger(),
        [this](std::uint16_t co, const Zandrel::KnxStyleString& text) { return writer_.WriteText(co, text); }, clock_};
    Zandrel::KnxConfiguration configuration_;
    Zandrel::ParameterReader sut_{prefixedLog_, identity_, access_, dpts_, tickers_};
};

}  // namespace TestSupport
