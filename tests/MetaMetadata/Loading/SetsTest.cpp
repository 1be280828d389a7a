#include <gtest/gtest.h>

#include <string>
#include <typeinfo>
#include <vector>

#include "Velmar/SDK/Exceptions/InvalidRequiredStatus.h"
#include "Velmar/SDK/Exceptions/InvalidTextRepresentation.h"
#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Platform/malloc_alloc.h"
#include "Velmar/SDK/Types/Collection.h"
#include "Velmar/SDK/Types/ValueText.h"
#include "support/LoadedSchema.h"

using namespace Velmar::SDK;
using namespace Velmar::SDK::MetaMetadata;
using testing_support::fixture;
using testing_support::utf8;
using testing_support::wide;

namespace {

const std::string kSets = fixture("MetaMetadata/Loading/fixtures/sets.xsd").string();

void load(const std::string& path, Dictionary& dictionary, bool abstractGroups = false) {
    Loading::XSDDictionaryLoader loader;
    loader.loadAbstractGroups(abstractGroups);
    loader.load(wide(path).c_str(), dictionary);
}

const MetaMetadataSet& set(const Dictionary& dictionary, int number) {
    char key[48];
    std::snprintf(key, sizeof key, "06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.%02x.00", number);
    const MetaMetadataSet* found =
        dictionary.metaMetadataSet(KLV::Key(wide(key).c_str(), Types::Dotted));
    if (found == nullptr) {
        throw std::runtime_error("no set " + std::to_string(number));
    }
    return *found;
}

// "element SchemaIndex status default", one line per attribute.
std::vector<std::string> describe(const MetaMetadataSet& set) {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < set.attributeCount(); ++i) {
        const MetaAttribute& a = set.attribute(i);
        const Types::BaseType* value = a.defaultValue();
        lines.push_back(
            utf8(a.metaElement().getProperty(u"XMLTagName")) + " " +
            utf8(a.getProperty(u"SchemaIndex")) + " " +
            utf8(AttributeRequiredStatus::instance().statusToString(a.requiredStatus())) +
            (value ? std::string(" ") + Types::valueTypeName(*value) + "=" +
                         utf8(Types::valueText(*value))
                   : ""));
    }
    return lines;
}

}  // namespace

// Members run from the deepest base to the set's own type, elements before attributes at each
// level; positions count the members the loader skips.
TEST(Sets, AttributesFollowTheBaseChainElementsFirstPositionsCountingSkippedMembers) {
    Dictionary dictionary;
    load(kSets, dictionary);
    EXPECT_EQ(describe(set(dictionary, 1)), (std::vector<std::string>{
                                                "Alpha 0 required",
                                                "Beta 1 optional",
                                                "Delta 2 best effort",
                                                "Gamma 5 optional",
                                                "Alpha 6 optional UInt8=7",
                                                "List 7 optional Array={1,2}",
                                                "Target 8 optional",
                                                "Delta 9 optional UTF16String= ",
                                                "Labels 10 optional Batch={}",
                                            }));
    const MetaMetadataSet& s1 = set(dictionary, 1);
    // Descriptive properties come after the attributes, as for elements.
    EXPECT_EQ(utf8(s1.getProperty(u"name")), "Set One");
    EXPECT_EQ(utf8(s1.getProperty(u"XMLTagName")), "S1");
    // The attribute's own properties, and its tag is the dictionary's.
    const MetaAttribute& alpha = s1.attribute(4);
    ASSERT_EQ(alpha.propertyCount(), 3u);
    EXPECT_EQ(utf8(alpha.getProperty(u"RequiresSemanticsValidation")), "true");
    EXPECT_EQ(utf8(alpha.getProperty(u"XMLNamespaceURI")), "urn:other");
    EXPECT_EQ(alpha.localTag(), dictionary.localTag(alpha.metaElement().universalLabel()));
    EXPECT_NE(alpha.localTag(), nullptr);
    const MetaAttribute& gamma = s1.attribute(3);
    EXPECT_EQ(gamma.localTag(), nullptr);
    ASSERT_EQ(gamma.propertyCount(), 2u);
    EXPECT_EQ(utf8(gamma.propertyName(1)), "RequiresSemanticsValidation");
    EXPECT_EQ(utf8(gamma.propertyValue(1)), "");
    // The collection default was read with the collection's own item type and size.
    EXPECT_EQ(static_cast<const Types::Collection*>(s1.attribute(5).defaultValue())->itemSize(), 4);

    EXPECT_EQ(describe(set(dictionary, 2)),
              (std::vector<std::string>{"Alpha 0 required", "Beta 1 optional"}));
    EXPECT_EQ(set(dictionary, 4).attributeCount(), 0u);
    EXPECT_EQ(utf8(set(dictionary, 4).getProperty(u"name")), "Set Four");
}

TEST(Sets, FoundThroughRefThenFfRefDeclarationsKeepingRepeats) {
    testing_support::LoadedSchema loaded(fixture("MetaMetadata/Loading/fixtures/sets.xsd"));
    Loading::ElementList sets;
    loaded->collectSetDeclarations(sets);
    std::vector<std::string> names;
    for (const auto* declaration : sets) {
        names.push_back(utf8(loaded->nameAttribute(declaration)));
    }
    EXPECT_EQ(names, (std::vector<std::string>{"S4", "S1", "S3", "S1", "S2"}));

    // The dictionary keeps them in the order their keys first came; S3 has none. Abstract sets
    // load whatever the option says.
    for (bool abstractGroups : {false, true}) {
        Dictionary dictionary;
        load(kSets, dictionary, abstractGroups);
        ASSERT_EQ(dictionary.metaMetadataSetCount(), 3u);
        EXPECT_EQ(&dictionary.metaMetadataSetAt(0), &set(dictionary, 4));
        EXPECT_EQ(&dictionary.metaMetadataSetAt(1), &set(dictionary, 1));
        EXPECT_EQ(&dictionary.metaMetadataSetAt(2), &set(dictionary, 2));
    }
}

// A broken set ends the load with a clear message; what the dictionary received before stays,
// and nothing is leaked.
TEST(Sets, RefuseBrokenDeclarationsKeepingWhatCameBefore) {
    const std::string good =
        R"(<xs:element name="E" type="UInt8"><xs:annotation><xs:appinfo source="RP210"/>
             <xs:appinfo source="UL Designator">06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00</xs:appinfo>
             <xs:appinfo source="XMLNamespaceURI">urn:SMPTE:MXF:file_format</xs:appinfo></xs:annotation></xs:element>
           <xs:complexType name="Good_t"/>
           <xs:element name="Good" type="Good_t"><xs:annotation>
             <xs:appinfo source="UL Designator">06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.01.00</xs:appinfo>
             <xs:appinfo source="XMLNamespaceURI">urn:SMPTE:MXF:file_format</xs:appinfo></xs:annotation></xs:element>
           <xs:element name="GoodRef" type="Ref" substitutionGroup="Good"/>
           <xs:element name="BadRef" type="Ref" substitutionGroup="Bad"/>)";
    auto bad = [](const std::string& type, const std::string& annotations = "") {
        return "<xs:element name=\"Bad\" type=\"" + type +
               "\"><xs:annotation><xs:appinfo source=\"UL Designator\">" +
               "06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.02.00</xs:appinfo>" + annotations +
               "</xs:annotation></xs:element>";
    };
    auto member = [](const std::string& annotations) {
        return "<xs:complexType name=\"M_t\"><xs:sequence><xs:element "
               "ref=\"ff:E\"><xs:annotation>" +
               annotations + "</xs:annotation></xs:element></xs:sequence></xs:complexType>";
    };
    const std::string ns =
        "<xs:appinfo source=\"XMLNamespaceURI\">urn:SMPTE:MXF:file_format</xs:appinfo>";
    struct Case {
        std::string body;
        const std::type_info& exception;
        std::string message;
    };
    const Case cases[] = {
        {bad("Missing_t"), typeid(Exceptions::ParseError),
         "No top-level complexType named \"Missing_t\" (the type of set Bad)"},
        {bad(""), typeid(Exceptions::ParseError),
         "No top-level complexType named \"\" (the type of set Bad)"},
        {bad("C_t") +
             R"(<xs:complexType name="C_t"><xs:complexContent><xs:extension base="ff:Gone_t"/>
                         </xs:complexContent></xs:complexType>)",
         typeid(Exceptions::ParseError),
         "No top-level complexType named \"Gone_t\" (the base of C_t)"},
        {bad("A_t") +
             R"(<xs:complexType name="A_t"><xs:complexContent><xs:extension base="ff:B_t"/></xs:complexContent>
                         </xs:complexType><xs:complexType name="B_t"><xs:complexContent><xs:extension base="A_t"/>
                         </xs:complexContent></xs:complexType>)",
         typeid(Exceptions::ParseError), "Circular base type chain: A_t -> B_t -> A_t"},
        {bad("M_t") + member(""), typeid(Exceptions::ParseError),
         "No \"use\" annotation on member ff:E of M_t"},
        {bad("M_t") + member("<xs:appinfo source=\"use\">Required</xs:appinfo>"),
         typeid(Exceptions::InvalidRequiredStatus), "Unknown required status \"Required\""},
        {bad("Good_t"), typeid(Exceptions::ParseError),
         "!namespaceURI.empty (): Couldn't retrieve node's NamespaceURI: "},
    };
    for (const Case& c : cases) {
        const std::size_t before = Platform::malloc_alloc::bytesInUse();
        {
            testing_support::TempDir temp;
            const auto file = temp.write(
                "d.xsd",
                testing_support::schema(good + c.body, "xmlns:ff=\"urn:SMPTE:MXF:file_format\""));
            Dictionary dictionary;
            try {
                load(file.string(), dictionary);
                ADD_FAILURE() << "loaded: " << c.body;
            } catch (const Exceptions::BaseException& e) {
                EXPECT_EQ(typeid(e), c.exception) << c.body;
                EXPECT_EQ(utf8(e.message()).substr(0, c.message.size()), c.message) << c.body;
            }
            EXPECT_EQ(dictionary.metaElementCount(), 1u);
            EXPECT_EQ(dictionary.metaMetadataSetCount(), 1u) << "the set before stays: " << c.body;
        }
        EXPECT_EQ(Platform::malloc_alloc::bytesInUse(), before) << c.body;
    }
}

TEST(Sets, ARefusedDefaultValueEndsTheLoad) {
    testing_support::TempDir temp;
    const auto file = temp.write("d.xsd", testing_support::schema(R"(
        <xs:element name="L" type="UniversalLabel"><xs:annotation><xs:appinfo source="RP210"/>
          <xs:appinfo source="UL Designator">06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00</xs:appinfo>
          <xs:appinfo source="XMLNamespaceURI">urn:SMPTE:MXF:file_format</xs:appinfo></xs:annotation></xs:element>
        <xs:complexType name="T"><xs:sequence><xs:element ref="L"><xs:annotation>
          <xs:appinfo source="use">required</xs:appinfo><xs:appinfo source="Distinguished Value">06.0e</xs:appinfo>
        </xs:annotation></xs:element></xs:sequence></xs:complexType>
        <xs:element name="S" type="T"><xs:annotation>
          <xs:appinfo source="UL Designator">06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.01.00</xs:appinfo>
          <xs:appinfo source="XMLNamespaceURI">urn:SMPTE:MXF:file_format</xs:appinfo></xs:annotation></xs:element>
        <xs:element name="SRef" type="Ref" substitutionGroup="S"/>)"));
    Dictionary dictionary;
    EXPECT_THROW(load(file.string(), dictionary), Exceptions::InvalidTextRepresentation);
    EXPECT_EQ(dictionary.metaMetadataSetCount(), 0u);
}
