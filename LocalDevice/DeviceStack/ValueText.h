#pragma once

#include <optional>
#include <string>

#include "ObjectModel.h"
#include "Place.h"
#include "Zandrel/ZanValue.h"

namespace LocalDevice {

/// How values travel on a connection.
enum class ValueFormat {
    Plain,   ///< their plain text; on the way in it gets the data point's declared type
    Native,  ///< serialised, such as "3.1:42"
};

/// A text on its way: UTF-8, or any bytes, each as the character of Latin-1 that it stands for.
struct TravellingText {
    std::string text;  ///< always UTF-8
    bool isLatin1 = false;
};

TravellingText Pack(std::string bytes);
/// Refuses at `place` where a character of a Latin-1 text stands for no byte.
std::string Unpack(TravellingText text, const Place& place);

/// The text of a value in the given format.
std::string ToText(const Zandrel::ZANVALUE& value, ValueFormat format);

/// A serialised value. Refuses at `place` where it is none.
Zandrel::ZANVALUE FromSerialised(const std::string& text, const Place& place);

/// A plain text as a value of the type that a data point declares, as a text where it declares none. Refuses at `place`
/// where the text is not one of that type.
Zandrel::ZANVALUE FromPlain(const std::string& text, const DataPoint& point, const Place& place);

}  // namespace LocalDevice
