#pragma once

#include <cstddef>

#include "Velmar/SDK/MetaMetadata/Loading/LoadDiagnostics.h"
#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Platform/Types.h"

namespace Velmar::SDK::MetaMetadata {
class Dictionary;

namespace Loading {

class XSDDictionaryLoaderImpl;

// Loads a dictionary of registered metadata written as an XML Schema into a Dictionary.
//
//     XSDDictionaryLoader loader;
//     loader.loadMetaElementDocumentation(true);
//     loader.load(u"schemas/dictionary.xsd", dictionary);
//
// A loader loads once: later calls of load return at once, also after a failed load. A
// failure is an exception of the Exceptions::BaseException family; what the dictionary
// received before it stays there. One loader must not be used by two threads at once.
class VELMAR_SDK_API XSDDictionaryLoader {
  public:
    XSDDictionaryLoader();
    ~XSDDictionaryLoader();
    XSDDictionaryLoader(const XSDDictionaryLoader&) = delete;
    // Gives this loader a fresh state holding the other's options and whether it has loaded.
    XSDDictionaryLoader& operator=(const XSDDictionaryLoader& other);

    // The path is a file path; backslashes count as slashes. A null path is a ParseError.
    void load(const XMLCh* path, Dictionary& dictionary);

    // Options, all off after construction; the value last set before load counts.
    void loadMetaElementDocumentation(bool load);      // adds the "Documentation" property
    void loadMetaElementLengthDescription(bool load);  // adds the "LengthDescription" property
    void loadAbstractGroups(bool load);                // kept; abstract sets always load

    // Tells the receiver of what the load passes over silently and of clashes it resolves
    // (see LoadDiagnostics.h). The loader does not own it; null, the default, tells no one.
    // With or without a receiver, the load fills the dictionary alike.
    void setDiagnostics(LoadDiagnostics* receiver);

    static void* operator new(std::size_t size);
    static void* operator new[](std::size_t size);
    static void operator delete(void* pointer, std::size_t size) noexcept;
    static void operator delete[](void* pointer, std::size_t size) noexcept;
    static void* operator new(std::size_t size, void* where) noexcept;
    static void* operator new[](std::size_t size, void* where) noexcept;
    static void operator delete(void* pointer, void* where) noexcept;
    static void operator delete[](void* pointer, void* where) noexcept;

  private:
    XSDDictionaryLoaderImpl* impl_;
};

}  // namespace Loading
}  // namespace Velmar::SDK::MetaMetadata
