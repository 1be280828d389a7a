// RegXML documents: their structure, escapes and refusals on hand-built files, and that every
// document written of the fixtures and of files broken from them parses back.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "../HandBuilt.h"
#include "../WellFormed.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/RegXML/RegXMLWriting.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

using namespace Velmar;
using namespace handbuilt;
namespace MM = SDK::MetaMetadata;
namespace fs = std::filesystem;

namespace {

// Preface and Storage, no registered types: names and forms come from the declarations alone.
const MM::Dictionary& tiny() {
    static MM::Dictionary* dictionary = [] {
        auto* d = new MM::Dictionary;
        MM::Loading::XSDDictionaryLoader().load(
            SDK::Utils::stringToWstring(VELMAR_MXF_TESTS_DIR "/fixtures/tiny.xsd").c_str(), *d);
        return d;
    }();
    return *dictionary;
}

const Bytes kStorageKey = key(0x02, 0x53, 0x01, 0x18, 0x00, 0x01, 0x0d, 0x01, 0x01);
const Bytes kPrefaceKey = key(0x02, 0x53, 0x01, 0x2f, 0x00, 0x01, 0x0d, 0x01, 0x01);

Bytes tinyLabel(std::uint8_t n) {
    return {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01, 0x0f, 0, 0, 0, 0, 0, n, 0};
}

// The tiny dictionary's file: a Preface (1) whose Content is Storage 2, then a chain of
// Storages each the Child of the one before, `chain` long, and what else is given.
Bytes chainFile(std::size_t chain, const Bytes& more = {}, const Bytes& prefaceItems = {}) {
    const Bytes entries = be(0x3c0a, 2) + kInstanceUIDLabel + be(0x3b03, 2) + tinyLabel(2) +
                          be(0x1901, 2) + tinyLabel(3) + be(0x3b07, 2) + tinyLabel(1) +
                          be(0x7777, 2) + tinyLabel(9);
    Bytes metadata = klv(key(0x02, 0x05, 0x05, 0x01), be(5, 4) + be(18, 4) + entries);
    auto id = [](std::size_t n) {
        Bytes bytes(16, 0xcd);
        for (int i = 0; i < 8; ++i) {
            bytes[15 - i] = static_cast<std::uint8_t>(n >> (8 * i));
        }
        return bytes;
    };
    metadata =
        metadata + klv(kPrefaceKey, item(0x3c0a, id(1)) + item(0x3b03, id(2)) + prefaceItems);
    for (std::size_t n = 2; n < chain + 2; ++n) {
        Bytes items = item(0x3c0a, id(n));
        if (n + 1 < chain + 2) {
            items = items + item(0x1901, id(n + 1));
        }
        const Bytes set = klv(kStorageKey, items);
        metadata.insert(metadata.end(), set.begin(), set.end());  // not a copy per set
    }
    metadata.insert(metadata.end(), more.begin(), more.end());
    return partition(metadata.size()) + metadata;
}

std::string document(const Bytes& bytes, const MM::Dictionary& dictionary,
                     const MXF::RegXML::RegXMLOptions& options = MXF::RegXML::RegXMLOptions()) {
    const MXF::Model::HeaderMetadata header =
        MXF::Reading::readHeaderMetadata(bytes.data(), bytes.size(), dictionary);
    std::ostringstream out;
    MXF::RegXML::writeRegXML(out, header, dictionary, options);
    return out.str();
}

std::size_t count(const std::string& text, const std::string& what) {
    std::size_t n = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++n;
    }
    return n;
}

Bytes readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

}  // namespace

TEST(RegXML, NestsTheStrongReferenceTreeUnderTheRoot) {
    const std::string xml = document(chainFile(2), tiny());
    EXPECT_EQ(wellFormed(xml), "");
    // Names and namespaces from the declarations; one declaration of each namespace.
    EXPECT_EQ(
        xml,
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<r0:Preface xmlns:r0=\"urn:SMPTE:MXF:file_format\" "
        "xmlns:b=\"http://www.smpte-ra.org/schemas/2001-1b/2013/metadict\">\n"
        "  <r0:InstanceID>urn:uuid:cdcdcdcd-cdcd-cdcd-0000-000000000001</r0:InstanceID>\n"
        "  <r0:Content>\n"
        "    <r0:Storage>\n"
        "      <r0:InstanceID>urn:uuid:cdcdcdcd-cdcd-cdcd-0000-000000000002</r0:InstanceID>\n"
        "      <r0:Child>\n"
        "        <r0:Storage>\n"
        "          <r0:InstanceID>urn:uuid:cdcdcdcd-cdcd-cdcd-0000-000000000003</r0:InstanceID>\n"
        "        </r0:Storage>\n"
        "      </r0:Child>\n"
        "    </r0:Storage>\n"
        "  </r0:Content>\n"
        "</r0:Preface>\n");
}

TEST(RegXML, WritesWhatItCannotNameAsComments) {
    // An item whose tag the primer lacks, and one whose label the dictionary lacks.
    const std::string xml =
        document(chainFile(1, {}, item(0x5555, {1, 2}) + item(0x7777, {0xab})), tiny());
    EXPECT_EQ(wellFormed(xml), "");
    EXPECT_NE(xml.find("<!--Unknown property\nKey: tag 55.55\nData: 0102-->"), std::string::npos)
        << xml;
    EXPECT_NE(xml.find("<!--Unknown property\nKey: urn:smpte:ul:060e2b34.01010101.0f000000."
                       "00000900\nData: ab-->"),
              std::string::npos)
        << xml;
}

TEST(RegXML, StartsAtTheRootAskedForOrRefuses) {
    MXF::RegXML::RegXMLOptions options;
    options.root = MXF::Model::Bytes16{};
    std::fill(options.root->begin(), options.root->end(), 0xcd);
    for (int i = 0; i < 8; ++i) {
        (*options.root)[15 - i] = 0;
    }
    (*options.root)[15] = 3;
    const std::string xml = document(chainFile(3), tiny(), options);
    EXPECT_EQ(wellFormed(xml), "");
    EXPECT_EQ(xml.find("<r0:Preface"), std::string::npos);
    EXPECT_EQ(xml.find("<r0:Storage xmlns:r0"), xml.find("<r0:Storage"));
    EXPECT_EQ(count(xml, "<r0:Storage"), 2u);  // 3 and its child 4

    (*options.root)[15] = 9;
    const Bytes bytes = chainFile(3);
    const MXF::Model::HeaderMetadata header =
        MXF::Reading::readHeaderMetadata(bytes.data(), bytes.size(), tiny());
    std::ostringstream out;
    try {
        MXF::RegXML::writeRegXML(out, header, tiny(), options);
        ADD_FAILURE() << "a root that is not there was written";
    } catch (const MXF::Model::FileRefused& e) {
        EXPECT_STREQ(e.rule(), "no-root");
    }
    EXPECT_EQ(out.str(), "") << "a refusal writes nothing";

    // No Preface at all.
    const Bytes entries = be(0x3c0a, 2) + kInstanceUIDLabel;
    const Bytes metadata = klv(key(0x02, 0x05, 0x05, 0x01), be(1, 4) + be(18, 4) + entries) +
                           klv(kStorageKey, item(0x3c0a, uid(5)));
    const Bytes storageOnly = partition(metadata.size()) + metadata;
    const MXF::Model::HeaderMetadata noPreface =
        MXF::Reading::readHeaderMetadata(storageOnly.data(), storageOnly.size(), tiny());
    try {
        MXF::RegXML::writeRegXML(out, noPreface, tiny());
        ADD_FAILURE() << "a file without a Preface was written";
    } catch (const MXF::Model::FileRefused& e) {
        EXPECT_STREQ(e.rule(), "no-preface");
    }
    EXPECT_EQ(out.str(), "");
}

// A chain of strong references deeper than any call stack would hold: the writer keeps its
// own path, so the depth costs memory in proportion and nothing else.
TEST(RegXML, WritesATreeDeeperThanTheStack) {
    constexpr std::size_t kDepth = 30000;
    const std::string xml = document(chainFile(kDepth), tiny());
    EXPECT_EQ(count(xml, "<r0:Storage>"), kDepth);
    EXPECT_EQ(count(xml, "</r0:Storage>"), kDepth);
    EXPECT_EQ(xml.substr(xml.size() - 14), "</r0:Preface>\n");
    // Indented no deeper than 64 levels.
    EXPECT_EQ(xml.find(std::string(2 * 64 + 1, ' ') + "<"), std::string::npos);
    EXPECT_NE(xml.find(std::string(2 * 64, ' ') + "<"), std::string::npos);
}

// A reference to no set is a comment where the set would stand; one to a set that holds it
// (which the reader does not follow) writes that set up to its InstanceUID, and says so.
TEST(RegXML, SaysWhereAReferencedSetIsNotWritten) {
    const std::string dangling = document(chainFile(0), tiny());
    EXPECT_EQ(wellFormed(dangling), "");
    EXPECT_NE(dangling.find("  <r0:Content>\n    <!--Strong Reference target "
                            "urn:uuid:cdcdcdcd-cdcd-cdcd-0000-000000000002 is not found-->\n"
                            "  </r0:Content>"),
              std::string::npos)
        << dangling;

    // Storage 2's Child is Storage 2 itself.
    Bytes id2(16, 0xcd);
    std::fill(id2.begin() + 8, id2.end(), 0);
    id2[15] = 2;
    const Bytes entries = be(0x3c0a, 2) + kInstanceUIDLabel + be(0x3b03, 2) + tinyLabel(2) +
                          be(0x1901, 2) + tinyLabel(3);
    const Bytes metadata = klv(key(0x02, 0x05, 0x05, 0x01), be(3, 4) + be(18, 4) + entries) +
                           klv(kPrefaceKey, item(0x3c0a, uid(1)) + item(0x3b03, id2)) +
                           klv(kStorageKey, item(0x3c0a, id2) + item(0x1901, id2));
    const std::string cycle = document(partition(metadata.size()) + metadata, tiny());
    EXPECT_EQ(wellFormed(cycle), "");
    EXPECT_EQ(count(cycle, "<r0:Storage>"), 2u);
    EXPECT_NE(cycle.find("      <r0:Child>\n        <r0:Storage>\n          <r0:InstanceID>"
                         "urn:uuid:cdcdcdcd-cdcd-cdcd-0000-000000000002</r0:InstanceID>\n"
                         "        </r0:Storage>\n        <!--Circular Strong Reference to Set "
                         "UID urn:uuid:cdcdcdcd-cdcd-cdcd-0000-000000000002-->\n      </r0:Child>"),
              std::string::npos)
        << cycle;
}

// Every fixture, and files broken from them (cut short, a byte changed): whatever is read
// without a refusal gives a document that parses.
TEST(RegXML, EveryDocumentOfTheFixturesAndTheirBreakagesParses) {
    std::vector<fs::path> fixtures;
    for (const auto& entry : fs::directory_iterator(VELMAR_MXF_TESTS_DIR "/fixtures")) {
        if (entry.path().extension() == ".mxf") {
            fixtures.push_back(entry.path());
        }
    }
    std::sort(fixtures.begin(), fixtures.end());
    ASSERT_GE(fixtures.size(), 10u);
    std::size_t written = 0, refused = 0;
    for (const fs::path& path : fixtures) {
        const Bytes good = readFile(path);
        std::vector<Bytes> variants{good};
        for (std::size_t cut = 64; cut < std::min<std::size_t>(good.size(), 8192); cut += 397) {
            variants.emplace_back(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(cut));
        }
        for (std::size_t at = 0; at < std::min<std::size_t>(good.size(), 6144); at += 61) {
            Bytes changed = good;
            changed[at] ^= 0x5a;
            variants.push_back(std::move(changed));
        }
        for (const Bytes& bytes : variants) {
            try {
                const std::string xml = document(bytes, registers());
                ASSERT_EQ(wellFormed(xml), "") << path << "\n" << xml;
                ++written;
            } catch (const MXF::Model::FileRefused&) {
                ++refused;
            }
        }
    }
    EXPECT_GT(written, 900u);
    EXPECT_GT(refused, 100u);
}

// A set referenced from several places is written at each, as long as what is written stays
// within a bound of the file's sets: references fanning out cannot make a document of no bound.
TEST(RegXML, WritesASetAtEachReferenceWithinABound) {
    const Bytes contentLabel = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                0x06, 0x01, 0x01, 0x04, 0x02, 0x01, 0x00, 0x00};
    const Bytes packagesLabel = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                 0x06, 0x01, 0x01, 0x04, 0x05, 0x01, 0x00, 0x00};
    const Bytes packageKey = key(0x02, 0x53, 0x01, 0x36, 0x00, 0x01, 0x0d, 0x01, 0x01);
    auto file = [&](std::size_t references) {
        Bytes batch = be(references, 4) + be(16, 4);
        for (std::size_t i = 0; i < references; ++i) {
            batch = batch + uid(3);
        }
        const Bytes entries = be(0x3c0a, 2) + kInstanceUIDLabel + be(0x3b03, 2) + contentLabel +
                              be(0x1901, 2) + packagesLabel;
        const Bytes metadata = klv(key(0x02, 0x05, 0x05, 0x01), be(3, 4) + be(18, 4) + entries) +
                               klv(kPrefaceKey, item(0x3c0a, uid(1)) + item(0x3b03, uid(2))) +
                               klv(kStorageKey, item(0x3c0a, uid(2)) + item(0x1901, batch)) +
                               klv(packageKey, item(0x3c0a, uid(3)));
        return partition(metadata.size()) + metadata;
    };
    const std::string twice = document(file(2), registers());
    EXPECT_EQ(wellFormed(twice), "");
    EXPECT_EQ(count(twice, "</r0:MaterialPackage>"), 2u) << twice;
    EXPECT_EQ(count(twice, "written elsewhere"), 0u);
    // Three sets and 4,000 references to one: written 4 x 3 + 1,024 times in all, then said.
    const std::string many = document(file(4000), registers());
    EXPECT_EQ(wellFormed(many), "");
    EXPECT_EQ(count(many, "</r0:MaterialPackage>") + 2, 4u * 3 + 1024);
    EXPECT_EQ(count(many, "is written elsewhere"), 4000u - (4 * 3 + 1024 - 2));
}
