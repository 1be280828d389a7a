#include "support/LoadedSchema.h"

#include "Velmar/SDK/XMLUtils/XSDAggregator.h"

namespace testing_support {

using Velmar::SDK::MetaMetadata::Loading::ElementList;
using Velmar::SDK::MetaMetadata::Loading::XSDDictionaryLoaderImpl;

LoadedSchema::LoadedSchema(const std::string& text) : impl_(new XSDDictionaryLoaderImpl) {
    attach(temp_.write("schema.xsd", text));
}

LoadedSchema::LoadedSchema(const std::filesystem::path& file) : impl_(new XSDDictionaryLoaderImpl) {
    attach(file);
}

void LoadedSchema::attach(const std::filesystem::path& file) {
    Velmar::SDK::XMLUtils::XSDAggregator aggregator(wide(file.parent_path().string()).c_str(),
                                                    wide(file.filename().string()).c_str());
    impl_->attachDocument(aggregator.createStandAloneSchemaDocument(*impl_->parser_));
    impl_->setUpNamespaces(impl_->document_);
}

xercesc::DOMElement* LoadedSchema::declaration(const std::string& name) {
    ElementList found;
    impl_->selectElements(wide("./*[@name='" + name + "']").c_str(), impl_->rootElement(), found);
    return found.empty() ? nullptr : found.front();
}

ElementList LoadedSchema::setDeclarations() {
    ElementList sets;
    impl_->selectElements(u"./xs:element[./xs:annotation/xs:appinfo/@source='UL Designator']",
                          impl_->rootElement(), sets);
    return sets;
}

}  // namespace testing_support
