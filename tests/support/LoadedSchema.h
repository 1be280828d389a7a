#pragma once

#include <string>
#include <vector>

#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "support/TestSupport.h"

namespace testing_support {

// A loader state with a schema document attached and its namespaces set up, as the driver
// leaves it before the passes run, so that tests can run single passes.
class LoadedSchema {
  public:
    explicit LoadedSchema(const std::string& text);
    explicit LoadedSchema(const std::filesystem::path& file);

    Velmar::SDK::MetaMetadata::Loading::XSDDictionaryLoaderImpl& operator*() { return *impl_; }
    Velmar::SDK::MetaMetadata::Loading::XSDDictionaryLoaderImpl* operator->() {
        return impl_.get();
    }

    // The top-level declaration with that name attribute.
    xercesc::DOMElement* declaration(const std::string& name);
    // Every top-level xs:element that carries a "UL Designator", in document order.
    Velmar::SDK::MetaMetadata::Loading::ElementList setDeclarations();

  private:
    void attach(const std::filesystem::path& file);

    TempDir temp_;
    Velmar::SDK::Templates::auto_ptr<Velmar::SDK::MetaMetadata::Loading::XSDDictionaryLoaderImpl>
        impl_;
};

}  // namespace testing_support
