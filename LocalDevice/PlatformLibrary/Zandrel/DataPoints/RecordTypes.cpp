#include <array>
#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <cstdint>

#include "Families.h"
#include "Record.h"

namespace Zandrel {

namespace {

template <std::size_t Size, std::size_t Count>
constexpr RecordLayout LayoutOf(const std::array<RecordField, Count>& fields,
                                bool (*isPossible)(std::uint64_t) = nullptr) {
    return {Size, fields.data(), fields.data() + Count, isPossible};
}

// Main types 2, 18, 26: a bit and a number.

constexpr std::array ControlFields{FlagField("control", 1), DecimalField(" ", {0}, 0, 1)};
constexpr RecordLayout Control = LayoutOf<1>(ControlFields);

constexpr std::array SceneControlFields{FlagField("learn", 7), DecimalField(" ", {0, 6}, 0, 63)};
constexpr RecordLayout SceneControl = LayoutOf<1>(SceneControlFields);

constexpr std::array SceneInformationFields{FlagField("inactive", 6), DecimalField(" ", {0, 6}, 0, 63)};
constexpr RecordLayout SceneInformation = LayoutOf<1>(SceneInformationFields);

// Main type 3. 0 stops, in both directions.
constexpr std::array StepFields{WordField("", {3}, {"decrease", "increase"}), DecimalField(" ", {0, 3}, 0, 7)};
constexpr RecordLayout Step = LayoutOf<1>(StepFields);

// Main types 10, 11 and 19: texts after ISO 8601, with the weekday in letters.

constexpr std::array<const char*, RecordField::MaxWords> Weekdays{"", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
constexpr std::array<const char*, RecordField::MaxWords> WeekdaysOrAny{"AnyDay", "Mon", "Tue", "Wed",
                                                                       "Thu",    "Fri", "Sat", "Sun"};

constexpr std::array TimeFields{
    WordField("", {21, 3}, Weekdays),
    DecimalField(" ", {16, 5}, 0, 23, 2),
    DecimalField(":", {8, 6}, 0, 59, 2),
    DecimalField(":", {0, 6}, 0, 59, 2),
};
constexpr RecordLayout Time = LayoutOf<3>(TimeFields);

/// Year and month are ones of the calendar.
bool IsDay(std::uint64_t year, std::uint64_t month, std::uint64_t day) {
    using Calendar = boost::gregorian::gregorian_calendar;
    return day <= Calendar::end_of_month_day(static_cast<unsigned short>(year), static_cast<unsigned short>(month));
}

constexpr BitField DateDay{16, 5};
constexpr BitField DateMonth{8, 4};
constexpr BitField DateYear{0, 7};

/// A century has its leap years where the century from 2000 on has them.
bool IsDate(std::uint64_t code) {
    return IsDay(2000 + DateYear.Of(code), DateMonth.Of(code), DateDay.Of(code));
}

constexpr std::array DateFields{
    ShiftedField("", DateYear, 1990, 90, 99, 4),
    DecimalField("-", DateMonth, 1, 12, 2),
    DecimalField("-", DateDay, 1, 31, 2),
};
constexpr RecordLayout Date = LayoutOf<3>(DateFields, &IsDate);

constexpr BitField PointYear{56, 8};
constexpr BitField PointMonth{48, 4};
constexpr BitField PointDay{40, 5};
constexpr BitField PointHour{32, 5};
constexpr BitField PointMinute{24, 6};
constexpr BitField PointSecond{16, 6};
constexpr std::uint64_t FirstPointYear = 1900;
constexpr std::uint64_t Midnight = 24;

// Bits of the seventh byte that tell what a date and time lacks.
constexpr unsigned NoWorkingDay = 13;
constexpr unsigned NoYear = 12;
constexpr unsigned NoDate = 11;
constexpr unsigned NoWeekday = 10;
constexpr unsigned NoTime = 9;

constexpr bool IsBitSet(std::uint64_t code, unsigned bit) {
    return (code >> bit & 1U) != 0;
}

bool IsPointInTime(std::uint64_t code) {
    const std::uint64_t leapYear = 2000;
    const std::uint64_t year = IsBitSet(code, NoYear) ? leapYear : FirstPointYear + PointYear.Of(code);
    const bool isDate = IsBitSet(code, NoDate) || IsDay(year, PointMonth.Of(code), PointDay.Of(code));
    const bool isTime = IsBitSet(code, NoTime) || PointHour.Of(code) != Midnight ||
                        (PointMinute.Of(code) == 0 && PointSecond.Of(code) == 0);
    return isDate && isTime;
}

constexpr std::array PointInTimeFields{
    ShiftedField("", PointYear, FirstPointYear, 0, 255, 4).ThereWhen(NoYear, false, "-"),
    DecimalField("-", PointMonth, 1, 12, 2).ThereWhen(NoDate, false),
    DecimalField("-", PointDay, 1, 31, 2).ThereWhen(NoDate, false),
    DecimalField(" ", PointHour, 0, Midnight, 2).ThereWhen(NoTime, false),
    DecimalField(":", PointMinute, 0, 59, 2).ThereWhen(NoTime, false),
    DecimalField(":", PointSecond, 0, 59, 2).ThereWhen(NoTime, false),
    WordField(" ", {37, 3}, WeekdaysOrAny).ThereWhen(NoWeekday, false),
    WordField(" ", {14}, {"holiday", "workday"}).ThereWhen(NoWorkingDay, false),
    FlagField("summertime", 8),
    FlagField("fault", 15),
    FlagField("synchronised", 7),
    FlagField("reliable", 6),
};
constexpr RecordLayout PointInTime = LayoutOf<8>(PointInTimeFields, &IsPointInTime);

// Main type 15: six digits, four flags and an index.
constexpr std::array AccessFields{
    DecimalField("", {28, 4}, 0, 9, 1),
    DecimalField("", {24, 4}, 0, 9, 1),
    DecimalField("", {20, 4}, 0, 9, 1),
    DecimalField("", {16, 4}, 0, 9, 1),
    DecimalField("", {12, 4}, 0, 9, 1),
    DecimalField("", {8, 4}, 0, 9, 1),
    FlagField("error", 7),
    FlagField("accepted", 6),
    FlagField("right-to-left", 5),
    FlagField("encrypted", 4),
    DecimalField(" index=", {0, 4}, 0, 15),
};
constexpr RecordLayout Access = LayoutOf<4>(AccessFields);

// Main types 232 and 251: colours as in CSS, a component that does not count as "--".

constexpr std::array RgbFields{HexField("#", {16, 8}), HexField("", {8, 8}), HexField("", {0, 8})};
constexpr RecordLayout Rgb = LayoutOf<3>(RgbFields);

constexpr std::array RgbwFields{
    HexField("#", {40, 8}).ThereWhen(3, true, "#--"),
    HexField("", {32, 8}).ThereWhen(2, true, "--"),
    HexField("", {24, 8}).ThereWhen(1, true, "--"),
    HexField("", {16, 8}).ThereWhen(0, true, "--"),
};
constexpr RecordLayout Rgbw = LayoutOf<6>(RgbwFields);

// Main types 235 and 242: what does not count is left out.

constexpr std::array TariffFields{
    ShiftedField(" energy=", {16, 32}, INT32_MIN, 0x80000000, 0xFFFFFFFF).ThereWhen(1, false),
    DecimalField(" tariff=", {8, 8}, 0, 254).ThereWhen(0, false),
};
constexpr RecordLayout Tariff = LayoutOf<6>(TariffFields);

constexpr double Percent = 100;
constexpr std::array ColourFields{
    FractionField(" x=", {32, 16}, 1).ThereWhen(1, true),
    FractionField(" y=", {16, 16}, 1).ThereWhen(1, true),
    FractionField(" Y=", {8, 8}, Percent).ThereWhen(0, true),
};
constexpr RecordLayout Colour = LayoutOf<6>(ColourFields);

constexpr std::array RecordTable{
    Row<RecordCoding<Control>>(2, AnySub, DeclaredText("0")),
    Row<RecordCoding<Step>>(3, AnySub, DeclaredText("decrease 0")),
    Row<RecordCoding<Time>>(10, AnySub, DeclaredText("00:00:00")),
    Row<RecordCoding<Date>>(11, AnySub, DeclaredText("2000-01-01")),
    Row<RecordCoding<Access>>(15, AnySub, DeclaredText("000000 index=0")),
    Row<RecordCoding<SceneControl>>(18, AnySub, DeclaredText("0")),
    Row<RecordCoding<PointInTime>>(19, AnySub, DeclaredText("2000-01-01 00:00:00")),
    Row<RecordCoding<SceneInformation>>(26, AnySub, DeclaredText("0")),
    Row<RecordCoding<Rgb>>(232, AnySub, DeclaredText("#000000")),
    Row<RecordCoding<Tariff>>(235, AnySub, DeclaredText("energy=0 tariff=0")),
    Row<RecordCoding<Colour>>(242, AnySub, DeclaredText("x=0 y=0 Y=0")),
    Row<RecordCoding<Rgbw>>(251, AnySub, DeclaredText("#00000000")),
};

}  // namespace

DataPointFamily GetRecordTypes() {
    return FamilyOf(RecordTable);
}

}  // namespace Zandrel
