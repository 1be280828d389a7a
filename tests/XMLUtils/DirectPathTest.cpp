#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Velmar/SDK/XMLUtils/DirectPath.h"
#include "Velmar/SDK/XMLUtils/XPathEvaluator.h"
#include "support/LoadedSchema.h"

using namespace Velmar::SDK;
using Mode = XMLUtils::XPathEvaluator::Mode;
using testing_support::fixture;
using testing_support::wide;

namespace {

// Evaluators made while this lives run both ways and record where they differ.
class CheckedEvaluators {
  public:
    CheckedEvaluators() {
        XMLUtils::XPathEvaluator::takeCheckedDifferences();
        XMLUtils::XPathEvaluator::setDefaultMode(Mode::Checked);
    }
    ~CheckedEvaluators() { XMLUtils::XPathEvaluator::setDefaultMode(Mode::Direct); }
};

}  // namespace

// Every query of the forms the loader asks, from several contexts, gives the engine's nodes.
TEST(DirectPath, AgreesWithTheEngineNodeForNode) {
    CheckedEvaluators checked;
    testing_support::LoadedSchema loaded(fixture("XMLUtils/fixtures/queries.xsd"));
    const char16_t* queries[] = {
        u"/xs:schema/*[./xs:annotation/xs:appinfo/@source='RP210']",
        u"/xs:schema/xs:element[(@substitutionGroup) and (@type!='Ref') and (@type!='ff:Ref')]",
        u"./xs:element[@type='Ref']",
        u"./xs:element[@type='ff:Ref']",
        u"./xs:element[@name='A']",
        u"./xs:element[@name=\"A\"]",
        u"./xs:element[@name='Nothing']",
        u"./element[@name='A']",
        u"./o:element[@name='A']",
        u"./*[@name='A']",
        u"/xs:schema/xs:complexType[@name='T']",
        u"./xs:annotation/xs:appinfo[@source='Name']/text()",
        u"./xs:annotation/xs:appinfo[@source='CDATA']/text()",
        u"./xs:annotation/xs:appinfo[@source='RP210']/text()",
        u"./xs:annotation/xs:documentation/text()",
        u"./@name",
        u"./@missing",
        u"./*/*/@base",
        u"./*/*/*/@base",
        u"./*/*/*/xs:choice/xs:element/@ref",
        u"./xs:complexType/xs:complexContent/*[@base]/xs:sequence/xs:element/@name",
        u"./xs:complexContent/*[@base]/*/xs:element/@type",
        u".//xs:element",
        u".//xs:attribute",
        u"ancestor::xs:complexType[last()]/@name",
        u"ancestor::xs:element[last()]",
        u"./xs:element[./xs:annotation/xs:documentation]",
        u"./xs:element[(@type) and (./xs:annotation)]",
    };
    xercesc::DOMElement* root = loaded->rootElement();
    std::vector<const xercesc::DOMNode*> contexts{root};
    for (auto* e = root->getFirstElementChild(); e != nullptr; e = e->getNextElementSibling()) {
        contexts.push_back(e);
    }
    Velmar::SDK::MetaMetadata::Loading::ElementList deep;
    loaded->selectElements(u".//xs:element", root, deep);
    contexts.insert(contexts.end(), deep.begin(), deep.end());

    for (const char16_t* query : queries) {
        EXPECT_NE(XMLUtils::DirectPath::compile(query, loaded->nsResolver_), nullptr)
            << testing_support::utf8(query) << " should be answered directly";
        for (const xercesc::DOMNode* context : contexts) {
            XMLUtils::NodeList nodes;
            loaded->selectNodes(query, context, nodes);
        }
    }
    EXPECT_EQ(XMLUtils::XPathEvaluator::takeCheckedDifferences(), std::vector<std::string>{});
}

// Other forms, and prefixes the schema does not bind, are left to the engine, which answers
// them or reports the error.
TEST(DirectPath, LeavesOtherFormsToTheEngine) {
    testing_support::LoadedSchema loaded(testing_support::schema("<xs:element name=\"E\"/>"));
    for (const char16_t* query :
         {u"count(./*)", u"./zz:E", u"xs:element", u"./xs:element[1]", u"./a | ./b", u"./@*",
          u".//a//b", u"//xs:element", u"./xs:element[@name='E'", u"./text()/x",
          u"./xs:element[@name=E]"}) {
        EXPECT_EQ(XMLUtils::DirectPath::compile(query, loaded->nsResolver_), nullptr)
            << testing_support::utf8(query);
    }
    XMLUtils::NodeList nodes;
    loaded->selectNodes(u"./xs:element[1]", loaded->rootElement(), nodes);
    EXPECT_EQ(nodes.size(), 1u);
}
