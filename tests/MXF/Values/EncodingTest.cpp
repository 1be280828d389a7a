// Values encoded by their registered type read back as the same values, and values that do
// not fit are refused with the item and why.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>

#include "../HandBuilt.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/Values/Encoding.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace MXF = Velmar::MXF;
namespace fs = std::filesystem;

namespace {

const Velmar::SDK::MetaMetadata::TypeDefinitions& types() {
    return handbuilt::registers().typeDefinitions();
}

struct RoundTrips {
    std::size_t values = 0;
    std::size_t sameBytes = 0;
    std::size_t alike = 0;  // the same bytes, or stored otherwise in a way the reader reads alike
    std::vector<std::string> differing;  // "item: value -> value"
};

// Every decoded item of a file encoded and decoded again.
RoundTrips roundTrip(const std::string& path) {
    RoundTrips result;
    const MXF::Model::HeaderMetadata header =
        MXF::Reading::readHeaderMetadata(path.c_str(), handbuilt::registers());
    for (const MXF::Model::LocalSet& set : header.sets) {
        for (const MXF::Model::Item& item : set.items) {
            if (!item.value || item.type == nullptr) {
                continue;
            }
            ++result.values;
            std::vector<std::uint8_t> bytes;
            try {
                bytes = MXF::Values::encodeItemValue(item, *item.value, types());
            } catch (const MXF::Values::ValueRefused& e) {
                result.differing.push_back(Velmar::SDK::Utils::toUtf8(e.message()).c_str());
                continue;
            }
            const std::optional<MXF::Model::Value> again =
                MXF::Values::decodeItemValue(item, bytes, types());
            if (!again || again->toJson() != item.value->toJson()) {
                result.differing.push_back(item.name() + ": " + item.value->toJson() + " -> " +
                                           (again ? again->toJson() : "raw"));
            }
            // What the reader reads alike but a writer stored otherwise: a string ended by
            // NULs, an empty collection that gives its items no size.
            const bool nulEnded =
                item.bytes.size() > bytes.size() &&
                std::equal(bytes.begin(), bytes.end(), item.bytes.begin()) &&
                std::all_of(item.bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size()),
                            item.bytes.end(), [](std::uint8_t b) { return b == 0; });
            const bool emptyUnsized =
                item.bytes.size() == 8 && bytes.size() == 8 &&
                std::equal(bytes.begin(), bytes.begin() + 4, item.bytes.begin()) &&
                item.value->asList().empty();
            result.sameBytes += bytes == item.bytes;
            result.alike += bytes == item.bytes || nulEnded || emptyUnsized;
        }
    }
    return result;
}

}  // namespace

TEST(ValueEncoding, EveryValueOfTheFixturesReadsBackTheSame) {
    std::size_t files = 0;
    for (const auto& entry : fs::directory_iterator(VELMAR_MXF_TESTS_DIR "/fixtures")) {
        if (entry.path().extension() != ".mxf") {
            continue;
        }
        SCOPED_TRACE(entry.path().filename().string());
        const RoundTrips trips = roundTrip(entry.path().string());
        EXPECT_GT(trips.values, 100u);
        EXPECT_TRUE(trips.differing.empty()) << trips.differing.front();
        // Byte for byte, but for ffmpeg's NUL-ended strings and its unsized empty batch.
        EXPECT_EQ(trips.alike, trips.values);
        EXPECT_GT(trips.sameBytes, trips.values - 6);
        ++files;
    }
    EXPECT_EQ(files, 10u);
}

TEST(ValueEncoding, EveryValueOfOtherWritersFilesReadsBackTheSame) {
    const fs::path corpus = VELMAR_MXF_TESTS_DIR "/../../../shared/mxf-corpus";
    if (!fs::is_directory(corpus)) {
        GTEST_SKIP() << "no corpus beside the project";
    }
    std::size_t values = 0, same = 0;
    for (const auto& entry : fs::recursive_directory_iterator(corpus)) {
        if (entry.path().extension() != ".mxf") {
            continue;
        }
        SCOPED_TRACE(entry.path().string());
        try {
            const RoundTrips trips = roundTrip(entry.path().string());
            for (const std::string& d : trips.differing) {
                ADD_FAILURE() << d;
            }
            values += trips.values;
            same += trips.sameBytes;
        } catch (const MXF::Model::FileRefused&) {
        }
    }
    EXPECT_GT(values, 3000u);
    std::cout << same << " of " << values << " values encoded byte for byte as stored\n";
}

namespace {

// The fixtures' items by name, each the first met: an element and registered type to encode by.
const MXF::Model::Item& itemNamed(const std::string& name) {
    static const auto* items = [] {
        auto* found = new std::map<std::string, MXF::Model::Item>;
        for (const char* file : {"op1a-mpeg2-pcm.mxf", "d10.mxf"}) {
            const MXF::Model::HeaderMetadata header = MXF::Reading::readHeaderMetadata(
                (std::string(VELMAR_MXF_TESTS_DIR) + "/fixtures/" + file).c_str(),
                handbuilt::registers());
            for (const MXF::Model::LocalSet& set : header.sets) {
                for (const MXF::Model::Item& item : set.items) {
                    found->emplace(item.name(), item);
                }
            }
        }
        return found;
    }();
    return items->at(name);
}

MXF::Model::Value u(std::uint64_t n) {
    return MXF::Model::Value::unsignedInteger(n);
}
MXF::Model::Value i(std::int64_t n) {
    return MXF::Model::Value::signedInteger(n);
}
MXF::Model::Value t(const char* text) {
    return MXF::Model::Value::text(text);
}

}  // namespace

// Each bound at its edge and one past it; symbols, records, texts and identifiers in the forms
// the reader gives them.
TEST(ValueEncoding, EncodesEachKindAndRefusesWhatDoesNotFit) {
    using V = MXF::Model::Value;
    struct Case {
        const char* item;
        V value;
        const char* bytes;               // hexadecimal, or empty when refused
        const char* refusal;             // a part of the refusal's message
        const char* readBack = nullptr;  // the value's JSON read back, where it is another form
    };
    const Case cases[] = {
        {"Rounded Timecode Timebase", u(65535), "ffff", ""},
        {"Rounded Timecode Timebase", u(65536), "",
         "65536 is out of the range of UInt16 (0 to 65535)"},
        {"Rounded Timecode Timebase", i(-1), "", "-1 is not a whole number of 0 or more"},
        {"Audio Reference Level", i(-128), "80", ""},
        {"Audio Reference Level", i(-129), "", "-129 is out of the range of Int8 (-128 to 127)"},
        {"Audio Reference Level", i(127), "7f", ""},
        {"Audio Reference Level", i(128), "", "out of the range of Int8"},
        {"Start Timecode", i(-90000), "fffffffffffea070", ""},
        {"Frame Layout", t("SeparateFields"), "01", ""},
        {"Frame Layout", t("Sideways"), "",
         "\"Sideways\" is not a symbol of LayoutType (FullFrame"},
        {"Drop Frame", V::boolean(true), "01", ""},
        {"Drop Frame", t("yes"), "", "a Boolean is true or false"},
        {"Application Version Number",
         V::record({{"Major", u(1)},
                    {"Minor", u(2)},
                    {"Tertiary", u(3)},
                    {"PatchLevel", u(4)},
                    {"BuildType", t("VersionReleased")}}),
         "00010002000300040001", ""},
        {"Application Version Number",
         V::record({{"Major", u(1)}, {"Minor", u(2)}, {"Tertiary", u(3)}, {"PatchLevel", u(4)}}),
         "", "a record of 5 members"},
        {"Format Version", t("1.255"), "01ff", ""},
        {"Format Version", t("1.256"), "", "is no VersionType"},
        {"Container Last Modification Date-Time", t("2026-11-25T10:20:30.500"), "07ea0b190a141e7d",
         ""},
        {"Container Last Modification Date-Time", t("2026-11-25T10:20:30.502"), "",
         "milliseconds in steps of 4"},
        {"Container Last Modification Date-Time", t("2026-11-25"), "", "is no TimeStamp"},
        {"Presentation Aspect Ratio", V::list({i(16), i(9)}), "0000001000000009", ""},
        {"Presentation Aspect Ratio", V::list({i(2147483648), i(1)}), "",
         "2147483648 is out of the range of a Rational's Int32"},
        {"Instance ID", t("01234567-89ab-cdef-0123-456789abcdef"),
         "0123456789abcdef0123456789abcdef", ""},
        {"Instance ID", t("01234567-89ab-cdef-0123"), "", "is no UUID"},
        {"Instance ID", t("urn:uuid:01234567-89ab-cdef-0123-456789abcdef"),
         "0123456789abcdef0123456789abcdef", "", "\"01234567-89ab-cdef-0123-456789abcdef\""},
        {"Instance ID", t("0123456-789ab-cdef-0123-456789abcdef"), "", "is no UUID"},
        {"Instance ID", t("01.23.45.67.89.ab.cd.ef.01.23.45.67.89.ab.cd.ef"),
         "0123456789abcdef0123456789abcdef", "", "\"01234567-89ab-cdef-0123-456789abcdef\""},
        // A separator is between bytes, never inside one.
        {"Instance ID", t("0.123.45.67.89.ab.cd.ef.01.23.45.67.89.ab.cd.ef"), "", "is no UUID"},
        {"Operational Pattern UL", t("urn:smpte:ul:060e2b34.04010101.0d010201.01010900"),
         "060e2b34040101010d01020101010900", ""},
        {"Application Name", t("R\xc3\xa9"), "005200e9", ""},
        {"Application Name", t("R\xe9"), "", "the text is not UTF-8"},
        {"Video Line Map", V::list({i(7), i(320)}), "00000002000000040000000700000140", ""},
        {"Essence Containers", V::list({}), "0000000000000010", ""},
        {"Package ID", t("060a2b340101010501010d00136061915294713400000000000000000000000a"),
         "060a2b340101010501010d00136061915294713400000000000000000000000a", ""},
        {"Package ID", t("060a2b34"), "", "is no UMID"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.item) + " = " + c.value.toJson());
        const MXF::Model::Item& item = itemNamed(c.item);
        if (*c.bytes != '\0') {
            const std::vector<std::uint8_t> bytes =
                MXF::Values::encodeItemValue(item, c.value, types());
            EXPECT_EQ(MXF::Values::plainHex(bytes.data(), bytes.size()), c.bytes);
            const auto again = MXF::Values::decodeItemValue(item, bytes, types());
            ASSERT_TRUE(again.has_value());
            EXPECT_EQ(again->toJson(), c.readBack != nullptr ? c.readBack
                                       : c.value.kind() == V::Kind::Text &&
                                               std::string(c.item) == "Operational Pattern UL"
                                           ? again->toJson()  // read back as the named label
                                           : c.value.toJson());
            continue;
        }
        try {
            MXF::Values::encodeItemValue(item, c.value, types());
            ADD_FAILURE() << "not refused";
        } catch (const MXF::Values::ValueRefused& e) {
            const std::string message = Velmar::SDK::Utils::toUtf8(e.message()).c_str();
            EXPECT_NE(message.find(c.refusal), std::string::npos) << message;
            EXPECT_EQ(message.rfind(std::string(c.item) + " (", 0), 0u) << message;
        }
    }
    MXF::Model::Item untyped = itemNamed("Track ID");
    untyped.type = nullptr;
    EXPECT_THROW(MXF::Values::encodeItemValue(untyped, u(1), types()), MXF::Values::ValueRefused);
}
