// Values encoded by their registered type read back as the same values, and values that do
// not fit are refused with the item and why.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <string>

#include "HandBuilt.h"
#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/MXF/ValueEncoding.h"
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
    const MXF::HeaderMetadata header =
        MXF::readHeaderMetadata(path.c_str(), handbuilt::registers());
    for (const MXF::LocalSet& set : header.sets) {
        for (const MXF::Item& item : set.items) {
            if (!item.value || item.type == nullptr) {
                continue;
            }
            ++result.values;
            std::vector<std::uint8_t> bytes;
            try {
                bytes = MXF::encodeItemValue(item, *item.value, types());
            } catch (const MXF::ValueRefused& e) {
                result.differing.push_back(Velmar::SDK::Utils::toUtf8(e.message()).c_str());
                continue;
            }
            const std::optional<MXF::Value> again = MXF::decodeItemValue(item, bytes, types());
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
        } catch (const MXF::FileRefused&) {
        }
    }
    EXPECT_GT(values, 3000u);
    std::cout << same << " of " << values << " values encoded byte for byte as stored\n";
}
