#include <gtest/gtest.h>

#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/XMLUtils/XPathEngine.h"
#include "Velmar/SDK/XMLUtils/XPathEvaluator.h"
#include "support/LoadedSchema.h"

using namespace Velmar::SDK;
using testing_support::wide;

// A load whose queries the DOM answers leaves the engine unloaded; the first query that needs
// it loads it.
TEST(XPathEngine, IsLoadedOnlyWhenAQueryNeedsIt) {
    if (XMLUtils::XPathEngine::loaded() != nullptr) {
        GTEST_SKIP() << "another test in this process has loaded the engine";
    }
    MetaMetadata::Dictionary dictionary;
    MetaMetadata::Loading::XSDDictionaryLoader loader;
    loader.load(wide(testing_support::fixture("../samples/mxf-header.xsd").string()).c_str(),
                dictionary);
    EXPECT_GT(dictionary.metaElementCount(), 0u);
    EXPECT_EQ(XMLUtils::XPathEngine::loaded(), nullptr);

    testing_support::LoadedSchema loaded(
        testing_support::schema("<xs:element name=\"E\"/><xs:element name=\"F\"/>"));
    XMLUtils::NodeList nodes;
    loaded->selectNodes(u"./xs:element[2]/@name", loaded->rootElement(), nodes);
    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_EQ(testing_support::utf8(nodes[0]->getNodeValue()), "F");
    EXPECT_NE(XMLUtils::XPathEngine::loaded(), nullptr);
}
