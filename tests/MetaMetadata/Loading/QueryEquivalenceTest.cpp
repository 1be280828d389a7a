#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "Dump.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/XMLUtils/XPathEvaluator.h"
#include "support/RegisterDictionary.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using Mode = XMLUtils::XPathEvaluator::Mode;

namespace {

// The whole outcome of a load: the dump of what loaded, or the refusal.
std::string outcome(const std::filesystem::path& file, Mode mode) {
    XMLUtils::XPathEvaluator::setDefaultMode(mode);
    MetaMetadata::Dictionary dictionary;
    std::string result;
    try {
        MetaMetadata::Loading::XSDDictionaryLoader loader;
        loader.load(testing_support::wide(file.string()).c_str(), dictionary);
        std::ostringstream dump;
        xsddict::writeDump(file.filename().string(), dictionary, dump);
        result = dump.str();
    } catch (const Exceptions::BaseException& e) {
        result = std::string(typeid(e).name()) + ": " + testing_support::utf8(e.message());
    }
    XMLUtils::XPathEvaluator::setDefaultMode(Mode::Direct);
    return result;
}

void expectSameOutcome(const std::filesystem::path& file) {
    XMLUtils::XPathEvaluator::takeCheckedDifferences();
    const std::string direct = outcome(file, Mode::Direct);
    const std::string checked = outcome(file, Mode::Checked);
    EXPECT_EQ(direct, checked) << file;
    EXPECT_EQ(XMLUtils::XPathEvaluator::takeCheckedDifferences(), std::vector<std::string>{})
        << file;
}

}  // namespace

// Answering queries directly on the DOM changes nothing: every dictionary the tests use loads
// (or is refused) exactly as with the XPath engine answering every query.
TEST(QueryEquivalence, EveryTestDictionaryLoadsAsWithTheEngineAlone) {
    std::vector<std::filesystem::path> files;
    for (const auto& folder :
         {std::filesystem::path(VELMAR_TESTS_DIR), std::filesystem::path(VELMAR_SAMPLES_DIR)}) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (entry.path().extension() == ".xsd")
                files.push_back(entry.path());
        }
    }
    ASSERT_GT(files.size(), 20u);
    for (const auto& file : files) {
        expectSameOutcome(file);
    }
}

TEST(QueryEquivalence, TheRegisterDictionaryLoadsAsWithTheEngineAlone) {
    const auto file = testing_support::registerDictionary();
    if (file.empty()) {
        GTEST_SKIP() << "no register snapshots at " << testing_support::registersFolder();
    }
    expectSameOutcome(file);
}
