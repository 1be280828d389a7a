#include <gtest/gtest.h>
#include <unistd.h>

#include <cxxabi.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Platform/malloc_alloc.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using testing_support::fixture;
using testing_support::utf8;
using testing_support::wide;

namespace {

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(' ');
    const auto last = text.find_last_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

// Where the exception says it was raised: that source line, which must be a throw or a call
// of a helper that raises at its caller's position.
std::string raisingLine(const Exceptions::BaseException& e) {
    // Source paths are relative to the project (the build maps the prefix away).
    std::ifstream source(fixture("..") / e.sourceFile());
    std::string line;
    for (int number = 0; number < e.sourceLine() && std::getline(source, line);) {
        ++number;
    }
    return line;
}

bool raises(const std::string& line) {
    for (const char* raising : {"throw", "VELMAR_SDK_THROW", "fail(", "refuse(", "requiredNode(",
                                "checkFailed(", "translateCurrentException("}) {
        if (line.find(raising) != std::string::npos)
            return true;
    }
    return false;
}

std::vector<std::string> misplacedRaises;

// "loads", or the exception's class (without namespaces) and message.
std::pair<std::string, std::string> load(const std::filesystem::path& file) {
    MetaMetadata::Dictionary dictionary;
    try {
        MetaMetadata::Loading::XSDDictionaryLoader loader;
        loader.load(wide(file.string()).c_str(), dictionary);
        return {"loads", ""};
    } catch (const Exceptions::BaseException& e) {
        int status = 0;
        std::unique_ptr<char, void (*)(void*)> name(
            abi::__cxa_demangle(typeid(e).name(), nullptr, nullptr, &status), std::free);
        const std::string full = name.get();
        if (!raises(raisingLine(e))) {
            misplacedRaises.push_back(file.filename().string() + ": " + e.sourceFile() + ":" +
                                      std::to_string(e.sourceLine()) + " is \"" + raisingLine(e) +
                                      "\"");
        }
        return {full.substr(full.rfind("::") + 2), utf8(e.message())};
    }
}

}  // namespace

// Each broken or hostile dictionary of the corpus gives the exception its manifest names, raised
// where it says it was, and gives back every byte it took.
TEST(BrokenDictionaries, EachEndsAsItsManifestSays) {
    const auto folder = fixture("MetaMetadata/Loading/broken");
    std::ifstream manifest(folder / "expected.txt");
    std::size_t entries = 0;
    for (std::string line; std::getline(manifest, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream fields(line);
        std::string file, expectedClass, fragment;
        std::getline(fields, file, '|');
        std::getline(fields, expectedClass, '|');
        std::getline(fields, fragment);
        file = trimmed(file);
        const std::size_t before = Platform::malloc_alloc::bytesInUse();
        const auto [loadedClass, message] = load(folder / file);
        EXPECT_EQ(loadedClass, trimmed(expectedClass)) << file << ": " << message;
        EXPECT_NE(message.find(trimmed(fragment)), std::string::npos) << file << ": " << message;
        EXPECT_EQ(message.find("THE-CONTENT-OF-A-LOCAL-FILE"), std::string::npos) << file;
        EXPECT_EQ(Platform::malloc_alloc::bytesInUse(), before) << file;
        ++entries;
    }
    EXPECT_GE(entries, 30u);
    EXPECT_EQ(misplacedRaises, std::vector<std::string>());
}

// Sizes no committed file should have: very long names and texts, deep nesting.
TEST(BrokenDictionaries, LongTextsAndDeepNestingEndCleanly) {
    testing_support::TempDir temp;
    const std::string longName(200000, 'N');
    const std::string element =
        "<xs:element name=\"" + longName +
        "\" type=\"UInt8\"><xs:annotation><xs:appinfo source=\"RP210\"/>"
        "<xs:appinfo source=\"UL "
        "Designator\">06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00</xs:appinfo>"
        "<xs:appinfo source=\"Name In Specification\">" +
        std::string(500000, 'x') +
        "</xs:appinfo>"
        "<xs:appinfo "
        "source=\"XMLNamespaceURI\">urn:SMPTE:MXF:file_format</xs:appinfo></xs:annotation></"
        "xs:element>";
    EXPECT_EQ(load(temp.write("long.xsd", testing_support::schema(element))).first, "loads");

    const std::string designator(100000, '0');
    const auto [designatorClass, designatorMessage] = load(temp.write(
        "long-designator.xsd",
        testing_support::schema("<xs:element name=\"E\" type=\"UInt8\"><xs:annotation><xs:appinfo "
                                "source=\"RP210\"/><xs:appinfo source=\"UL Designator\">" +
                                designator + "</xs:appinfo></xs:annotation></xs:element>")));
    EXPECT_EQ(designatorClass, "InvalidULDesignator");

    std::string deep;
    for (int i = 0; i < 20000; ++i)
        deep += "<xs:annotation>";
    for (int i = 0; i < 20000; ++i)
        deep += "</xs:annotation>";
    const auto tooDeep = load(temp.write(
        "deep.xsd", testing_support::schema("<xs:element name=\"D\">" + deep + "</xs:element>")));
    EXPECT_EQ(tooDeep.first, "ParseError");
    EXPECT_NE(tooDeep.second.find("deep.xsd\" at line 1: elements nest deeper than 1000 levels"),
              std::string::npos)
        << tooDeep.second;

    const auto directory = load(temp.path());
    EXPECT_EQ(directory.first, "ParseError");
    EXPECT_NE(directory.second.find("it is a directory"), std::string::npos);
}

TEST(BrokenDictionaries, AnUnreadableFileIsRefused) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "running as root, for whom every file is readable";
    }
    testing_support::TempDir temp;
    const auto file = temp.write("locked.xsd", testing_support::schema(""));
    std::filesystem::permissions(file, std::filesystem::perms::none);
    const auto [refusal, message] = load(file);
    EXPECT_EQ(refusal, "ParseError");
    EXPECT_NE(message.find("Permission denied"), std::string::npos) << message;
}

// A folder name that is not UTF-8 (Latin-1, as old file servers give) reaches the operating
// system as the bytes given, and messages show it as given.
TEST(BrokenDictionaries, PathsAreTheBytesGiven) {
    testing_support::TempDir temp;
    const std::filesystem::path folder = temp.path() / "d\xe9j\xe0";
    std::filesystem::create_directory(folder);
    std::filesystem::copy_file(fixture("MetaMetadata/Loading/fixtures/sets.xsd"),
                               folder / "sets.xsd");
    MetaMetadata::Dictionary dictionary;
    MetaMetadata::Loading::XSDDictionaryLoader loader;
    loader.load(Utils::bytesToWstring((folder / "sets.xsd").c_str()).c_str(), dictionary);
    EXPECT_EQ(dictionary.metaMetadataSetCount(), 3u);

    const std::string missing = (folder / "missing.xsd").string();
    try {
        MetaMetadata::Dictionary other;
        MetaMetadata::Loading::XSDDictionaryLoader fresh;
        fresh.load(Utils::bytesToWstring(missing.c_str()).c_str(), other);
        ADD_FAILURE();
    } catch (const Exceptions::BaseException& e) {
        const std::string message = Utils::wstringToBytes(e.message()).c_str();
        EXPECT_NE(message.find("\"" + missing + "\""), std::string::npos) << message;
    }
}
