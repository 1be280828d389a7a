// The module's side: its table over the loader's implementation and the XML file reader.
#include "Velmar/SDK/MetaMetadata/Loading/XSDModule.h"

#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/XMLUtils/Utils.h"
#include "Velmar/SDK/XMLUtils/XMLFileReaderImpl.h"

namespace Velmar::SDK::MetaMetadata::Loading {

namespace {

// Exhausted memory while the parser is made is a failure of the family like any other.
XSDDictionaryLoaderImpl* createLoader() {
    try {
        return new XSDDictionaryLoaderImpl;
    } catch (...) {
        XMLUtils::translateCurrentException(__FILE__, __LINE__);
    }
}

XSDDictionaryLoaderImpl* copyLoader(const XSDDictionaryLoaderImpl& other) {
    XSDDictionaryLoaderImpl* fresh = createLoader();
    fresh->firstLoad_ = other.firstLoad_;
    fresh->loadMetaElementDocumentation_ = other.loadMetaElementDocumentation_;
    fresh->loadMetaElementLengthDescription_ = other.loadMetaElementLengthDescription_;
    fresh->loadAbstractGroups_ = other.loadAbstractGroups_;
    fresh->diagnostics_ = other.diagnostics_;
    return fresh;
}

void destroyLoader(XSDDictionaryLoaderImpl* loader) {
    delete loader;
}

void setOption(XSDDictionaryLoaderImpl& loader, LoaderOption option, bool on) {
    switch (option) {
        case LoaderOption::Documentation:
            loader.loadMetaElementDocumentation_ = on;
            break;
        case LoaderOption::LengthDescription:
            loader.loadMetaElementLengthDescription_ = on;
            break;
        case LoaderOption::AbstractGroups:
            loader.loadAbstractGroups_ = on;
            break;
    }
}

void setDiagnostics(XSDDictionaryLoaderImpl& loader, LoadDiagnostics* receiver) {
    loader.diagnostics_ = receiver;
}

void load(XSDDictionaryLoaderImpl& loader, const XMLCh* path, Dictionary& dictionary) {
    loader.load(path, dictionary);
}

void* createReader() {
    try {
        return new XMLUtils::XMLFileReaderImpl;
    } catch (...) {
        XMLUtils::translateCurrentException(__FILE__, __LINE__);
    }
}

void destroyReader(void* reader) {
    delete static_cast<XMLUtils::XMLFileReaderImpl*>(reader);
}

const xercesc::DOMDocument& read(void* reader, const char* path) {
    return static_cast<XMLUtils::XMLFileReaderImpl*>(reader)->read(path);
}

const XSDModule kModule = {createLoader, copyLoader,   destroyLoader, setOption, setDiagnostics,
                           load,         createReader, destroyReader, read};

}  // namespace

}  // namespace Velmar::SDK::MetaMetadata::Loading

extern "C" __attribute__((visibility("default")))
const Velmar::SDK::MetaMetadata::Loading::XSDModule*
velmar_xsd_module() {
    return &Velmar::SDK::MetaMetadata::Loading::kModule;
}
