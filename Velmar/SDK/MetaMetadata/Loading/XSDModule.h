#pragma once

// What the library asks of its XML Schema module: everything that needs the XML parser (the
// schema loader and the XML file reader) lives in a module loaded on first need, so that a
// program that loads compiled dictionaries never maps the parser and the libraries it pulls
// in (its start-up cost several times what such a program does). Programs linked with the
// static library call the same table directly.

#include "Velmar/SDK/Platform/Types.h"

XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
XERCES_CPP_NAMESPACE_END

namespace Velmar::SDK::MetaMetadata {
class Dictionary;

namespace Loading {

class LoadDiagnostics;
class XSDDictionaryLoaderImpl;

enum class LoaderOption { Documentation, LengthDescription, AbstractGroups };

// Each entry raises only exceptions of the toolkit's family.
struct XSDModule {
    XSDDictionaryLoaderImpl* (*createLoader)();
    // A fresh loader with another's options, diagnostics receiver and whether it has loaded.
    XSDDictionaryLoaderImpl* (*copyLoader)(const XSDDictionaryLoaderImpl& other);
    void (*destroyLoader)(XSDDictionaryLoaderImpl* loader);
    void (*setOption)(XSDDictionaryLoaderImpl& loader, LoaderOption option, bool on);
    void (*setDiagnostics)(XSDDictionaryLoaderImpl& loader, LoadDiagnostics* receiver);
    void (*load)(XSDDictionaryLoaderImpl& loader, const XMLCh* path, Dictionary& dictionary);

    void* (*createReader)();
    void (*destroyReader)(void* reader);
    const xercesc::DOMDocument& (*read)(void* reader, const char* path);
};

// Loads the module on first call (a ParseError naming it when it cannot be).
const XSDModule& xsdModule();

}  // namespace Loading
}  // namespace Velmar::SDK::MetaMetadata

// The module's one export.
extern "C" const Velmar::SDK::MetaMetadata::Loading::XSDModule* velmar_xsd_module();
