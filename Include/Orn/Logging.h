#pragma once

#include <log4cplus/logger.h>

#include <array>
#include <cstddef>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "Zandrel/Logging.h"

/// The two line forms that need no application program. Each statement builds its message only when the level is on.
///
/// - `ORN_LOG_PLAIN(logger, LEVEL, message)`: FUNCTION " - " message
/// - `ORN_LOG_GLOBAL(LEVEL, message)`: the function-name form, through the global default logger:
///   FUNCTION " (" FILE ":" LINE ")" " - " padding message
///
/// LEVEL is DEBUG, INFO, WARN, ERROR or FATAL; `message` is a chain of values joined by `<<`.

namespace Zandrel {

/// The name of a source file in log lines: its path below the source root without extension.
template <std::size_t Size>
class SourceName {
public:
    // NOLINTNEXTLINE(modernize-avoid-c-arrays): a string literal is one
    constexpr explicit SourceName(const char (&path)[Size]) noexcept {
        std::size_t end = 0;
        for (std::size_t i = 0; i < Size; ++i) {
            text_[i] = path[i];
            if (path[i] == '.') {
                end = i;
            }
        }
        if (end != 0) {
            text_[end] = '\0';
        }
    }
    constexpr const char* Text() const noexcept { return text_.data(); }

private:
    std::array<char, Size> text_{};
};

/// Joins the parts of one message, each as a stream of its own would print it. Throws where memory runs out: a stream
/// would go on with half of it.
class MessageStream {
public:
    template <typename Part>
    MessageStream& operator<<(const Part& part) {
        // A stream takes far longer to make than a message to join, and few parts need one.
        if constexpr (std::is_convertible_v<const Part&, std::string_view>) {
            text_.append(std::string_view(part));
        } else if constexpr (std::is_integral_v<Part> && sizeof(Part) > sizeof(char)) {
            text_.append(std::to_string(part));
        } else {
            std::ostringstream stream;
            stream.exceptions(std::ios_base::badbit);
            stream << part;
            text_.append(stream.str());
        }
        return *this;
    }
    const std::string& Text() const noexcept { return text_; }

private:
    std::string text_;
};

}  // namespace Zandrel

#define ORN_SOURCE_NAME                                                          \
    ([]() noexcept {                                                             \
        static constexpr ::Zandrel::SourceName<sizeof(__FILE__)> name(__FILE__); \
        return name.Text();                                                      \
    }())

#define ORN_LOG_LINE(logger, LEVEL, line)                                                                  \
    do {                                                                                                   \
        const log4cplus::Logger& ornLogger = (logger);                                                     \
        if (ornLogger.isEnabledFor(log4cplus::LEVEL##_LOG_LEVEL)) {                                        \
            ornLogger.forcedLog(log4cplus::LEVEL##_LOG_LEVEL, (::Zandrel::MessageStream{} << line).Text(), \
                                ORN_SOURCE_NAME, __LINE__, static_cast<const char*>(__func__));            \
        }                                                                                                  \
    } while (false)

#define ORN_LOG_PLAIN(logger, LEVEL, message) \
    ORN_LOG_LINE(logger, LEVEL, static_cast<const char*>(__func__) << " - " << message)

#define ORN_LOG_GLOBAL(LEVEL, message)                                                                               \
    ORN_LOG_LINE(::Zandrel::GetGlobalDefaultLogger(), LEVEL,                                                         \
                 ::Zandrel::PrettyFunctionNamePrinter(static_cast<const char*>(__func__), ORN_SOURCE_NAME, __LINE__) \
                     << " - " << ::Zandrel::LoggingRecursionPadding{} << message)
