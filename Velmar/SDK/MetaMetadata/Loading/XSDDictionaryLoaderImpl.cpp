// The loader's frame: construction, path handling and the driver that runs the passes.
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"

#include <algorithm>

#include <xercesc/dom/DOMImplementationLS.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/Initializer.h"
#include "Velmar/SDK/XMLUtils/Initializer.h"
#include "Velmar/SDK/XMLUtils/Utils.h"
#include "Velmar/SDK/XMLUtils/XSDAggregator.h"

namespace Velmar::SDK::MetaMetadata::Loading {

XSDDictionaryLoaderImpl::XSDDictionaryLoaderImpl() {
    XMLUtils::Initializer::instance();
    parser_.reset(new XMLUtils::SchemaParser(positions_));
    Initializer::instance();
}

XSDDictionaryLoaderImpl::~XSDDictionaryLoaderImpl() {
    for (auto& entry : setName2KeyMap_) {
        delete entry.second;
        entry.second = nullptr;
    }
}

void XSDDictionaryLoaderImpl::load(const XMLCh* path, Dictionary& dictionary) {
    if (path == nullptr) {
        VELMAR_SDK_THROW(Exceptions::ParseError, "Null schema path");
    }
    WString normalised;
    WString folder;
    try {
        normalised = path;
        std::replace(normalised.begin(), normalised.end(), u'\\', u'/');
        folder = splitSchemaPath(normalised);
    } catch (...) {
        XMLUtils::translateCurrentException(__FILE__, __LINE__);
    }
    loadDictionary(std::move(folder), std::move(normalised), dictionary);
}

WString XSDDictionaryLoaderImpl::splitSchemaPath(WString& path) {
    const auto slash = path.rfind(u'/');
    if (slash == WString::npos) {
        return WString(u".");
    }
    WString folder = path.substr(0, slash);
    path.erase(0, slash + 1);
    return folder;
}

void XSDDictionaryLoaderImpl::attachDocument(xercesc::DOMDocument* document) {
    document_ = document;
    evaluator_.reset(new XMLUtils::XPathEvaluator(*document));
    nsResolver_ = evaluator_->createNSResolver();
}

void XSDDictionaryLoaderImpl::releaseDocument() noexcept {
    evaluator_.reset();
    appinfoOwner_ = nullptr;
    appinfos_.clear();
    appinfoNodes_.clear();
    topLevelElements_.clear();
    topLevelComplexTypes_.clear();
    topLevelIndexed_ = false;
    membersOfType_.clear();
    attributeOfMember_.clear();
    nsResolver_ = nullptr;
    document_ = nullptr;
    try {
        parser_->resetDocumentPool();
    } catch (...) {
        // The parser still owns the document and frees it with itself.
    }
}

void XSDDictionaryLoaderImpl::loadDictionary(WString folder, WString fileName,
                                             Dictionary& dictionary) {
    schemaFolder_ = std::move(folder);
    schemaFileName_ = std::move(fileName);
    if (!firstLoad_) {
        return;
    }
    firstLoad_ = false;

    try {
        XMLUtils::XSDAggregator aggregator(schemaFolder_.c_str(), schemaFileName_.c_str());
        parser_->keepDocumentation(loadMetaElementDocumentation_);
        xercesc::DOMDocument* document = aggregator.createStandAloneSchemaDocument(*parser_);
        if (document == nullptr) {
            VELMAR_SDK_THROW(Exceptions::ParseError, "No schema document");
        }
        attachDocument(document);
        if (const auto* topLevel = aggregator.topLevelElements()) {
            evaluator_->setRootChildren(XMLUtils::NodeList(topLevel->begin(), topLevel->end()));
        }
        setUpNamespaces(document_);
    } catch (...) {
        XMLUtils::translateCurrentException(__FILE__, __LINE__);
    }

    // The DOM serves the passes only: it is released as soon as they end, however they end,
    // so that a loader kept after its load holds nothing of the file.
    struct DocumentRelease {
        XSDDictionaryLoaderImpl& loader;
        ~DocumentRelease() { loader.releaseDocument(); }
    } release{*this};
    ElementList elementDeclarations;
    ElementList setDeclarations;
    try {
        collectMetaElementDeclarations(elementDeclarations);
        collectSetDeclarations(setDeclarations);
        collectSetKeys(setDeclarations);
        // Sized once for what the passes will add: at tens of thousands of declarations,
        // regrowing the indexes cost a tenth of the element pass.
        dictionary.reserve(dictionary.metaElementCount() + elementDeclarations.size(),
                           dictionary.metaMetadataSetCount() + setDeclarations.size());
        name2MetaElementMap_.reserve(elementDeclarations.size());
        metaElement2LocalTagMap_.reserve(elementDeclarations.size());
        loadMetaElements(dictionary, elementDeclarations);
        loadMetaMetadataSets(dictionary, setDeclarations);
        loadRegisteredTypes(dictionary);
        if (diagnosing()) {
            diagnoseSubstitutionCycles();
        }
    } catch (...) {
        XMLUtils::translateCurrentException(__FILE__, __LINE__);
    }
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
