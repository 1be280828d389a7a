// Exhausted memory anywhere in a load (reading, aggregation, the XPath engine, the model, value
// lists) ends it as an exception of the toolkit's family that gives back everything it took,
// and the next load works. Each allocation of a load with includes and default values is made
// to fail in turn, through the toolkit's allocator and the XML parser's memory manager, once
// with the queries answered on the DOM and once with every query through the XPath engine.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Platform/AllocationFaults.h"
#include "Velmar/SDK/Platform/malloc_alloc.h"
#include "Velmar/SDK/XMLUtils/XPathEvaluator.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
namespace Faults = Platform::AllocationFaults;

namespace {

std::size_t load(const WString& path) {
    MetaMetadata::Dictionary dictionary;
    MetaMetadata::Loading::XSDDictionaryLoader loader;
    loader.load(path.c_str(), dictionary);
    return dictionary.metaElementCount() + dictionary.metaMetadataSetCount();
}

std::size_t fromEnvironment(const char* name, std::size_t otherwise) {
    const char* text = std::getenv(name);
    return text != nullptr && std::atoi(text) > 0 ? static_cast<std::size_t>(std::atoi(text))
                                                  : otherwise;
}

}  // namespace

class AllocationFailures : public testing::TestWithParam<XMLUtils::XPathEvaluator::Mode> {
  protected:
    void SetUp() override {
        before_ = XMLUtils::XPathEvaluator::defaultMode();
        XMLUtils::XPathEvaluator::setDefaultMode(GetParam());
    }
    void TearDown() override { XMLUtils::XPathEvaluator::setDefaultMode(before_); }

  private:
    XMLUtils::XPathEvaluator::Mode before_ = XMLUtils::XPathEvaluator::Mode::Direct;
};

INSTANTIATE_TEST_SUITE_P(Queries, AllocationFailures,
                         testing::Values(XMLUtils::XPathEvaluator::Mode::Direct,
                                         XMLUtils::XPathEvaluator::Mode::EngineOnly));

TEST_P(AllocationFailures, EveryFailureEndsTheLoadCleanly) {
    const WString path = testing_support::wide(
        testing_support::fixture("MetaMetadata/Loading/fixtures/including.xsd").string());
    const std::size_t expected = load(path);  // also lets first-use caches settle
    const std::size_t bytesBefore = Platform::malloc_alloc::bytesInUse();

    std::size_t injected = 0;
    std::vector<std::string> wrong;
    // Sanitizer builds are several times slower: they try every few allocations, from a
    // different start on each run, which over runs covers them all. VELMAR_FAULT_FIRST starts
    // at one allocation, to follow a finding in a debugger.
    const std::size_t step = fromEnvironment("VELMAR_FAULT_STRIDE", 1);
    const std::size_t first =
        fromEnvironment("VELMAR_FAULT_FIRST", 1 + static_cast<std::size_t>(std::rand()) % step);
    for (std::size_t n = first;; n += step) {
        Faults::failAllocation(n);
        std::string outcome;
        try {
            const std::size_t loaded = load(path);
            if (!Faults::failed()) {
                Faults::disarm();
                EXPECT_EQ(loaded, expected);
                break;  // the load needs fewer than n allocations
            }
            // A failure that was absorbed must not change what was loaded.
            if (loaded != expected)
                outcome = "loaded " + std::to_string(loaded) + " definitions";
        } catch (const Exceptions::BaseException&) {
        } catch (const std::exception& e) {
            outcome = std::string("escaped as ") + e.what();
        } catch (...) {
            outcome = "escaped as a foreign exception";
        }
        Faults::disarm();
        ++injected;
        if (Platform::malloc_alloc::bytesInUse() != bytesBefore)
            outcome += " kept " +
                       std::to_string(Platform::malloc_alloc::bytesInUse() - bytesBefore) +
                       " bytes";
        if (!outcome.empty())
            wrong.push_back("allocation " + std::to_string(n) + ": " + outcome);
        ASSERT_LT(injected, 1000000u) << "the load never ends";
    }
    EXPECT_EQ(wrong, std::vector<std::string>());
    EXPECT_GT(injected, 100u);
    EXPECT_EQ(load(path), expected);  // and the program goes on
    std::printf("%zu allocation failures injected, every %zu\n", injected, step);
}
