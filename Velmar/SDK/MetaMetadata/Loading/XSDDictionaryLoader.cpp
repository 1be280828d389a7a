#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"

#include "Velmar/SDK/MetaMetadata/Loading/XSDModule.h"
#include "Velmar/SDK/Platform/malloc_alloc.h"

namespace Velmar::SDK::MetaMetadata::Loading {

// The loader's work is the XML Schema module's, loaded with the first loader made.
XSDDictionaryLoader::XSDDictionaryLoader() : impl_(xsdModule().createLoader()) {}

XSDDictionaryLoader::~XSDDictionaryLoader() {
    xsdModule().destroyLoader(impl_);
}

XSDDictionaryLoader& XSDDictionaryLoader::operator=(const XSDDictionaryLoader& other) {
    if (this != &other) {
        XSDDictionaryLoaderImpl* fresh = xsdModule().copyLoader(*other.impl_);
        xsdModule().destroyLoader(impl_);
        impl_ = fresh;
    }
    return *this;
}

void XSDDictionaryLoader::load(const XMLCh* path, Dictionary& dictionary) {
    xsdModule().load(*impl_, path, dictionary);
}

void XSDDictionaryLoader::loadMetaElementDocumentation(bool load) {
    xsdModule().setOption(*impl_, LoaderOption::Documentation, load);
}
void XSDDictionaryLoader::loadMetaElementLengthDescription(bool load) {
    xsdModule().setOption(*impl_, LoaderOption::LengthDescription, load);
}
void XSDDictionaryLoader::loadAbstractGroups(bool load) {
    xsdModule().setOption(*impl_, LoaderOption::AbstractGroups, load);
}

void XSDDictionaryLoader::setDiagnostics(LoadDiagnostics* receiver) {
    xsdModule().setDiagnostics(*impl_, receiver);
}

void* XSDDictionaryLoader::operator new(std::size_t size) {
    return Platform::malloc_alloc::allocate(size);
}
void* XSDDictionaryLoader::operator new[](std::size_t size) {
    return Platform::malloc_alloc::allocate(size);
}
void XSDDictionaryLoader::operator delete(void* pointer, std::size_t size) noexcept {
    Platform::malloc_alloc::deallocate(pointer, size);
}
void XSDDictionaryLoader::operator delete[](void* pointer, std::size_t size) noexcept {
    Platform::malloc_alloc::deallocate(pointer, size);
}
void* XSDDictionaryLoader::operator new(std::size_t, void* where) noexcept {
    return where;
}
void* XSDDictionaryLoader::operator new[](std::size_t, void* where) noexcept {
    return where;
}
void XSDDictionaryLoader::operator delete(void*, void*) noexcept {}
void XSDDictionaryLoader::operator delete[](void*, void*) noexcept {}

}  // namespace Velmar::SDK::MetaMetadata::Loading
