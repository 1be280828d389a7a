#include <gtest/gtest.h>

#include <string>
#include <typeinfo>
#include <vector>

#include "Velmar/SDK/Exceptions/InvalidMetaElementDeclaration.h"
#include "Velmar/SDK/Exceptions/InvalidTextRepresentation.h"
#include "Velmar/SDK/Exceptions/InvalidULDesignator.h"
#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/Exceptions/UnsupportedDataType.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "support/LoadedSchema.h"

using namespace Velmar::SDK;
using namespace Velmar::SDK::MetaMetadata;
namespace Id = Types::Identifiers;
using testing_support::fixture;
using testing_support::utf8;
using testing_support::wide;

namespace {

constexpr const char* kFileFormat = "urn:SMPTE:MXF:file_format";

std::string label(int n) {
    char text[48];
    std::snprintf(text, sizeof text, "06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.%02x.00", n);
    return text;
}

// A registered element declaration: its label, namespace and any further annotations.
std::string element(const std::string& name, int n, const std::string& attributes,
                    const std::string& body = "", const std::string& annotations = "") {
    return "<xs:element name=\"" + name + "\" " + attributes +
           "><xs:annotation><xs:appinfo source=\"RP210\"/>" +
           "<xs:appinfo source=\"UL Designator\">" + label(n) + "</xs:appinfo>" + annotations +
           "<xs:appinfo source=\"XMLNamespaceURI\">" + kFileFormat +
           "</xs:appinfo></xs:annotation>" + body + "</xs:element>";
}

std::string schema(const std::string& body) {
    return testing_support::schema(body, std::string("xmlns:ff=\"") + kFileFormat + "\"");
}

void load(const std::string& text, Dictionary& dictionary, bool documentation = false,
          bool length = false) {
    testing_support::TempDir temp;
    const auto file = temp.write("dictionary.xsd", text);
    Loading::XSDDictionaryLoader loader;
    loader.loadMetaElementDocumentation(documentation);
    loader.loadMetaElementLengthDescription(length);
    loader.load(wide(file.string()).c_str(), dictionary);
}

const MetaElement& byTagName(const Dictionary& dictionary, const char16_t* name) {
    const MetaElement* element = dictionary.metaElementByTagName(name);
    if (element == nullptr) {
        throw std::runtime_error("no element " + utf8(name));
    }
    return *element;
}

struct Kind : Visitors::NullMetaElementVisitor {
    using NullMetaElementVisitor::visit;
    void visit(const MetaSimpleElement&) override { name = "simple"; }
    void visit(const MetaCollection& e) override {
        name = "collection";
        NullMetaElementVisitor::visit(e);
    }
    void visit(const MetaReferenceElement&) override { name = "reference"; }
    void visit(const MetaReferenceCollection& e) override {
        name = "referenceCollection";
        NullMetaElementVisitor::visit(e);
    }
    void visit(const MetaCollectionElement& e) override { subType = e.dataSubType(); }
    std::string name;
    Id::Identifier subType = Id::Unknown;
};

std::vector<std::string> propertyNames(const PropertyMap& map) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < map.propertyCount(); ++i) {
        names.push_back(utf8(map.propertyName(i)));
    }
    return names;
}

}  // namespace

TEST(ElementConstruction, DataTypeAndKindFollowTheTypeOrTheAnonymousBase) {
    Dictionary dictionary;
    Loading::XSDDictionaryLoader loader;
    loader.load(wide(fixture("MetaMetadata/Loading/fixtures/datatypes.xsd").string()).c_str(),
                dictionary);
    struct Case {
        const char16_t* name;
        const char* kind;
        Id::Identifier dataType;
        Id::Identifier dataSubType;
        const char* childTagName;
    };
    const Case cases[] = {
        {u"Named", "simple", Id::UInt8, Id::Unknown, nullptr},
        {u"PrefixedNamed", "simple", Id::UInt16, Id::Unknown, nullptr},
        {u"OtherPrefix", "simple", Id::UInt32, Id::Unknown, nullptr},
        {u"NamedReference", "reference", Id::StrongRef, Id::Unknown, nullptr},
        {u"ExtensionBase", "simple", Id::Int32, Id::Unknown, nullptr},
        {u"RestrictionBase", "simple", Id::UTF16String, Id::Unknown, nullptr},
        {u"BatchOfLabels", "collection", Id::Batch, Id::UniversalLabel, "Label"},
        {u"ArrayOfPrefixedItems", "collection", Id::Array, Id::UInt8, "Item"},
        {u"ArrayOfReferences", "referenceCollection", Id::Array, Id::WeakRef, nullptr},
        {u"Strong", "reference", Id::StrongRef, Id::Unknown, nullptr},
        {u"Weak", "reference", Id::WeakRef, Id::Unknown, nullptr},
        {u"StrongArray", "referenceCollection", Id::Array, Id::StrongRef, nullptr},
        {u"StrongBatch", "referenceCollection", Id::Batch, Id::StrongRef, nullptr},
        {u"WeakArray", "referenceCollection", Id::Array, Id::WeakRef, nullptr},
        {u"WeakBatch", "referenceCollection", Id::Batch, Id::WeakRef, nullptr},
    };
    ASSERT_EQ(dictionary.metaElementCount(), std::size(cases));
    for (const Case& c : cases) {
        const MetaElement& e = byTagName(dictionary, c.name);
        Kind kind;
        e.accept(kind);
        EXPECT_EQ(kind.name, c.kind) << utf8(c.name);
        EXPECT_EQ(e.dataType(), c.dataType) << utf8(c.name);
        EXPECT_EQ(kind.subType, c.dataSubType) << utf8(c.name);
        EXPECT_EQ(e.hasProperty(u"XMLChildTagName"), c.childTagName != nullptr) << utf8(c.name);
        if (c.childTagName != nullptr) {
            EXPECT_EQ(utf8(e.getProperty(u"XMLChildTagName")), c.childTagName);
        }
    }
}

// Every refusal with its class and message; what the dictionary received before it stays.
TEST(ElementConstruction, RefusesBrokenDeclarationsWithClassAndMessage) {
    const std::string noNamespace =
        "<xs:element name=\"X\" type=\"UInt8\"><xs:annotation><xs:appinfo source=\"RP210\"/>"
        "<xs:appinfo source=\"UL Designator\">" +
        label(9) + "</xs:appinfo>%</xs:annotation></xs:element>";
    const std::string collection =
        "<xs:complexType><xs:complexContent><xs:extension base=\"Array\">%"
        "</xs:extension></xs:complexContent></xs:complexType>";
    auto with = [](std::string text, const std::string& inner) {
        return text.replace(text.find('%'), 1, inner);
    };
    std::string spacedDesignator = element("X", 9, "type=\"UInt8\"");
    spacedDesignator.replace(spacedDesignator.find(label(9)), 47, label(9) + " ");
    const std::string wrongCaseKind =
        "<xs:complexType><xs:complexContent><xs:extension base=\"strongRefHolder\"/>"
        "</xs:complexContent></xs:complexType>";
    struct Case {
        std::string declaration;
        const std::type_info& exception;
        std::string message;
    };
    const Case cases[] = {
        {spacedDesignator, typeid(Exceptions::InvalidULDesignator), label(9) + " "},
        {element("X", 9, "type=\"Foo\"", collection),
         typeid(Exceptions::InvalidMetaElementDeclaration),
         "MetaElement Declaration with unknown data type: X"},
        {element("X", 9, "", wrongCaseKind), typeid(Exceptions::InvalidMetaElementDeclaration),
         "MetaElement Declaration with unknown data type: X"},
        {element("X", 9, "type=\"Batch\""), typeid(Exceptions::InvalidMetaElementDeclaration),
         "MetaElement Declaration of type collection with unknown sub data type: X"},
        {element(
             "X", 9, "",
             with(collection, "<xs:sequence><xs:element name=\"I\" type=\"Foo\"/></xs:sequence>")),
         typeid(Exceptions::InvalidMetaElementDeclaration),
         "MetaElement Declaration of type collection with unknown sub data type: X"},
        {element(
             "X", 9, "",
             with(collection, "<xs:sequence><xs:element name=\"\" type=\"UInt8\"/></xs:sequence>")),
         typeid(Exceptions::InvalidMetaElementDeclaration), "Empty name attribute"},
        {with(noNamespace, ""), typeid(Exceptions::ParseError),
         "!namespaceURI.empty (): Couldn't retrieve node's NamespaceURI: "},
        {with(noNamespace,
              "<xs:appinfo source=\"XMLNamespaceURI\">URN:SMPTE:MXF:file_format</xs:appinfo>"),
         typeid(Exceptions::ParseError),
         "it != namespace2PrefixMap_.end (): No default prefix defined for namespace: "
         "URN:SMPTE:MXF:file_format"},
    };
    for (const Case& c : cases) {
        Dictionary dictionary;
        try {
            load(schema(element("Good", 1, "type=\"UInt8\"") + c.declaration), dictionary);
            ADD_FAILURE() << "loaded: " << c.declaration;
        } catch (const Exceptions::BaseException& e) {
            EXPECT_EQ(typeid(e), c.exception) << c.declaration;
            EXPECT_EQ(utf8(e.message()).substr(0, c.message.size()), c.message) << c.declaration;
        }
        EXPECT_EQ(dictionary.metaElementCount(), 1u)
            << "the element before stays: " << c.declaration;
    }
}

// A failure in the properties comes after the local tag was recorded, and the tag stays.
TEST(ElementConstruction, AFailureInThePropertiesLeavesTheTagRecorded) {
    Dictionary dictionary;
    const std::string broken =
        "<xs:element name=\"X\" type=\"UInt8\"><xs:annotation><xs:appinfo source=\"RP210\"/>"
        "<xs:appinfo source=\"UL Designator\">" +
        label(2) + "</xs:appinfo>" +
        "<xs:appinfo source=\"Local Tag\">3c.0a</xs:appinfo></xs:annotation></xs:element>";
    EXPECT_THROW(load(schema(broken), dictionary), Exceptions::ParseError);
    EXPECT_EQ(dictionary.metaElementCount(), 0u);
    EXPECT_NE(dictionary.localTag(Types::UniversalLabel(wide(label(2)).c_str(), Types::Dotted)),
              nullptr);
}

TEST(ElementProperties, FollowTheOptionsInTheirOrderReadingFirstTextsAsWritten) {
    const std::string annotations =
        "<xs:documentation>Docs<!-- cut -->more</xs:documentation>"
        "<xs:appinfo source=\"Name In Specification\"> Spaced  Name </xs:appinfo>"
        "<xs:appinfo source=\"Name In Specification\">Second</xs:appinfo>"
        "<xs:appinfo source=\"Length\">16</xs:appinfo>";
    const std::string text = schema(
        element("Labels", 1, "",
                "<xs:complexType><xs:complexContent><xs:extension base=\"Batch\"><xs:sequence>"
                "<xs:element name=\"First\" type=\"UniversalLabel\"/><xs:element name=\"Second\" "
                "type=\"UInt8\"/>"
                "</xs:sequence></xs:extension></xs:complexContent></xs:complexType>",
                annotations) +
        element("", 2, "type=\"UInt8\"") +
        element("Refs", 3, "",
                "<xs:complexType><xs:complexContent><xs:extension base=\"StrongRefArray\">"
                "<xs:sequence><xs:element name=\"Item\" type=\"UInt8\"/></xs:sequence>"
                "</xs:extension></xs:complexContent></xs:complexType>"));
    struct Case {
        bool documentation;
        bool length;
        std::vector<std::string> properties;
    };
    const Case cases[] = {
        {false,
         false,
         {"name", "XMLTagName", "XMLNamespaceURI", "XMLDefaultPrefix", "XMLChildTagName"}},
        {true,
         false,
         {"name", "Documentation", "XMLTagName", "XMLNamespaceURI", "XMLDefaultPrefix",
          "XMLChildTagName"}},
        {false,
         true,
         {"name", "LengthDescription", "XMLTagName", "XMLNamespaceURI", "XMLDefaultPrefix",
          "XMLChildTagName"}},
        {true,
         true,
         {"name", "Documentation", "LengthDescription", "XMLTagName", "XMLNamespaceURI",
          "XMLDefaultPrefix", "XMLChildTagName"}},
    };
    for (const Case& c : cases) {
        Dictionary dictionary;
        load(text, dictionary, c.documentation, c.length);
        const MetaElement& labels = dictionary.metaElementAt(0);
        EXPECT_EQ(propertyNames(labels), c.properties);
        EXPECT_EQ(utf8(labels.getProperty(u"name")), " Spaced  Name ");
        EXPECT_EQ(utf8(labels.getProperty(u"XMLChildTagName")), "First");
        EXPECT_EQ(utf8(labels.getProperty(u"XMLDefaultPrefix")), "ff");
        if (c.documentation) {
            EXPECT_EQ(utf8(labels.getProperty(u"Documentation")), "Docs");
        }
        if (c.length) {
            EXPECT_EQ(utf8(labels.getProperty(u"LengthDescription")), "16");
        }
        // An empty name attribute still gives the tag name; a reference collection no child.
        EXPECT_EQ(propertyNames(dictionary.metaElementAt(1)),
                  (std::vector<std::string>{"XMLTagName", "XMLNamespaceURI", "XMLDefaultPrefix"}));
        EXPECT_FALSE(dictionary.metaElementAt(2).hasProperty(u"XMLChildTagName"));
    }

    // The default prefix of another namespace is the root's first prefix for it.
    Dictionary dictionary;
    std::string custom = element("Custom", 4, "type=\"UInt8\"");
    custom.replace(custom.find(kFileFormat), std::string(kFileFormat).size(), "urn:custom");
    load(testing_support::schema(custom, "xmlns:c=\"urn:custom\" xmlns:d=\"urn:custom\""),
         dictionary);
    EXPECT_EQ(utf8(dictionary.metaElementAt(0).getProperty(u"XMLDefaultPrefix")), "c");
}

// The dictionary is asked in a fixed order, which a dictionary that checks tags relies on.
TEST(ElementConstruction, AsksTheDictionaryForTagsBeforeHandingEachElementOver) {
    struct Recording : Dictionary {
        void addLocalTag(const Types::LocalTag& tag, const Types::UniversalLabel& l) override {
            calls.push_back("addLocalTag " + utf8(tag.toString(Types::Dotted)) + " " +
                            utf8(l.toString(Types::Dotted)).substr(42));
            Dictionary::addLocalTag(tag, l);
        }
        const Types::LocalTag* localTag(const Types::UniversalLabel& l) const override {
            calls.push_back("localTag " + utf8(l.toString(Types::Dotted)).substr(42));
            return Dictionary::localTag(l);
        }
        void addMetaElement(const Types::UniversalLabel& l,
                            Templates::auto_ptr<MetaElement> e) override {
            calls.push_back("addMetaElement " + utf8(l.toString(Types::Dotted)).substr(42));
            Dictionary::addMetaElement(l, std::move(e));
        }
        mutable std::vector<std::string> calls;
    } dictionary;
    load(schema(element("Tagged", 1, "type=\"UInt8\"", "",
                        "<xs:appinfo source=\"Local Tag\">3c.0a</xs:appinfo>") +
                element("Untagged", 2, "type=\"UInt8\"")),
         dictionary);
    EXPECT_EQ(dictionary.calls,
              (std::vector<std::string>{"addLocalTag 3c.0a 01.00", "localTag 01.00",
                                        "addMetaElement 01.00", "localTag 02.00",
                                        "addMetaElement 02.00"}));
}

TEST(ElementPass, RecordsEveryElementByNameTheLaterOfTwoWinning) {
    testing_support::LoadedSchema loaded(
        schema(element("Same", 1, "type=\"UInt8\"") + element("Same", 2, "type=\"UInt16\"") +
               element("Other", 3, "type=\"UInt32\"", "",
                       "<xs:appinfo source=\"Local Tag\">3c.0a</xs:appinfo>")));
    Loading::ElementList declarations;
    loaded->collectMetaElementDeclarations(declarations);
    Dictionary dictionary;
    loaded->loadMetaElements(dictionary, declarations);
    ASSERT_EQ(dictionary.metaElementCount(), 3u);
    EXPECT_EQ(loaded->name2MetaElementMap_.at(WString(u"Same")), &dictionary.metaElementAt(1));
    EXPECT_EQ(loaded->metaElement2LocalTagMap_.size(), 3u);
    EXPECT_EQ(loaded->metaElement2LocalTagMap_.at(&dictionary.metaElementAt(0)), nullptr);
    EXPECT_EQ(loaded->metaElement2LocalTagMap_.at(&dictionary.metaElementAt(2)),
              dictionary.localTag(dictionary.metaElementAt(2).universalLabel()));
}
