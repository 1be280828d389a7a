// What a load passes over silently, as a receiver installed through the public loader hears of
// it: every kind, each declaration once, with its file and line and the declaration it clashes
// with; and a load with a receiver fills the dictionary exactly as one without.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using namespace Velmar::SDK::MetaMetadata;
using testing_support::utf8;
using testing_support::wide;

namespace {

class Collected : public Loading::LoadDiagnostics {
  public:
    void report(const Loading::LoadDiagnostic& d) override {
        auto where = [](const Loading::SourcePosition& p) {
            return p.known() ? std::filesystem::path(p.file.c_str()).filename().string() + ":" +
                                   std::to_string(p.line)
                             : std::string("?");
        };
        std::string line = std::string(Loading::diagnosticKindName(d.kind)) + " " +
                           utf8(d.declaration) + "@" + where(d.position);
        if (!d.set.empty()) {
            line += " in " + utf8(d.set);
        }
        if (!d.other.empty()) {
            line += " vs " + utf8(d.other) + "@" + where(d.otherPosition);
        }
        lines.push_back(line);
        messages.push_back(utf8(d.message));
    }
    std::vector<std::string> lines;
    std::vector<std::string> messages;
};

std::string summary(const Dictionary& dictionary) {
    std::string text;
    for (const MetaElement& element : dictionary.metaElements()) {
        text += utf8(element.universalLabel().toString(Types::Dotted)) + " ";
    }
    for (const MetaMetadataSet& set : dictionary.metaMetadataSets()) {
        text += utf8(set.getProperty(u"name")) + "/" + std::to_string(set.attributeCount()) + " ";
    }
    return text + std::to_string(dictionary.localTagCount());
}

}  // namespace

TEST(LoadDiagnostics, TellEveryKindOnceWithWhereItStands) {
    const auto file = testing_support::fixture("tools/fixtures/findings.xsd");
    Dictionary quiet;
    Loading::XSDDictionaryLoader().load(wide(file.string()).c_str(), quiet);

    Collected collected;
    Dictionary told;
    Loading::XSDDictionaryLoader loader;
    loader.setDiagnostics(&collected);
    loader.load(wide(file.string()).c_str(), told);
    EXPECT_EQ(summary(told), summary(quiet));

    EXPECT_EQ(collected.lines,
              (std::vector<std::string>{
                  "label-given-twice Again@findings.xsd:6 vs First@findings.xsd:4",
                  "local-tag-given-twice Second@findings.xsd:8 vs First@findings.xsd:4",
                  "local-tag-given-twice AgainTagged@findings.xsd:10 vs First@findings.xsd:4",
                  "label-given-twice AgainTagged@findings.xsd:10 vs First@findings.xsd:4",
                  "reference-to-no-set Dangling@findings.xsd:12",
                  "abstract-targets-only ToAbstract@findings.xsd:33 vs A@findings.xsd:31",
                  "member-naming-no-element ff:Missing@findings.xsd:18 in T",
                  "member-without-ref Local@findings.xsd:19 in T",
                  "set-key-given-twice S@findings.xsd:22 vs T@findings.xsd:25",
                  "set-without-ul-designator Unlabelled@findings.xsd:23",
                  "substitution-group-cycle C1@findings.xsd:36 vs C2@findings.xsd:37",
              }));
    EXPECT_EQ(collected.messages.at(1),
              "Element Second has the local tag 10.01 of element First; the tag stays First's");
    EXPECT_EQ(collected.messages.at(2),
              "Element AgainTagged gives the label 06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00 "
              "the local tag 10.02, but it has 10.01 already, which stays");
}

// Positions name the file a declaration is written in, also when it came through an include.
TEST(LoadDiagnostics, NameTheIncludedFile) {
    testing_support::TempDir temp;
    temp.write("main.xsd",
               testing_support::schema("\n<xs:include schemaLocation=\"sub/part.xsd\"/>",
                                       "xmlns:ff=\"urn:SMPTE:MXF:file_format\""));
    temp.write("sub/part.xsd",
               testing_support::schema(
                   "\n\n<xs:complexType name=\"P_t\"><xs:sequence><xs:element ref=\"ff:Nothing\"/>"
                   "</xs:sequence></xs:complexType>\n"
                   "<xs:element name=\"P\" type=\"P_t\"/>\n"
                   "<xs:element name=\"PRef\" type=\"Ref\" substitutionGroup=\"P\"/>",
                   "xmlns:ff=\"urn:SMPTE:MXF:file_format\""));
    Collected collected;
    Dictionary dictionary;
    Loading::XSDDictionaryLoader loader;
    loader.setDiagnostics(&collected);
    loader.load(wide((temp.path() / "main.xsd").string()).c_str(), dictionary);
    EXPECT_EQ(collected.lines,
              (std::vector<std::string>{"set-without-ul-designator P@part.xsd:4"}));
}

// A cycle is told once, at its first declaration, also when a chain leads into it; a group
// that names itself is a cycle of one.
TEST(LoadDiagnostics, TellEachSubstitutionCycleOnce) {
    testing_support::TempDir temp;
    temp.write("cycles.xsd", testing_support::schema(R"(
<xs:element name="Tail" type="T_t" substitutionGroup="C1"/>
<xs:element name="C1" type="T_t" substitutionGroup="C2"/>
<xs:element name="C2" type="T_t" substitutionGroup="C1"/>
<xs:element name="Self" type="T_t" substitutionGroup="Self"/>
<xs:element name="Leaf" type="T_t" substitutionGroup="Tail"/>)"));
    Collected collected;
    Dictionary dictionary;
    Loading::XSDDictionaryLoader loader;
    loader.setDiagnostics(&collected);
    loader.load(wide((temp.path() / "cycles.xsd").string()).c_str(), dictionary);
    EXPECT_EQ(collected.lines,
              (std::vector<std::string>{
                  "substitution-group-cycle C1@cycles.xsd:3 vs C2@cycles.xsd:4",
                  "substitution-group-cycle Self@cycles.xsd:5 vs Self@cycles.xsd:5",
              }));
}
