#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"

#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/Platform/malloc_alloc.h"
#include "Velmar/SDK/XMLUtils/Utils.h"

namespace Velmar::SDK::MetaMetadata::Loading {

// Exhausted memory while the parser is made is a failure of the family like any other.
XSDDictionaryLoader::XSDDictionaryLoader() try : impl_(new XSDDictionaryLoaderImpl) {
} catch (...) {
    XMLUtils::translateCurrentException(__FILE__, __LINE__);
}

XSDDictionaryLoader::~XSDDictionaryLoader() {
    delete impl_;
}

XSDDictionaryLoader& XSDDictionaryLoader::operator=(const XSDDictionaryLoader& other) {
    if (this != &other) {
        XSDDictionaryLoaderImpl* fresh = nullptr;
        try {
            fresh = new XSDDictionaryLoaderImpl;
        } catch (...) {
            XMLUtils::translateCurrentException(__FILE__, __LINE__);
        }
        fresh->firstLoad_ = other.impl_->firstLoad_;
        fresh->loadMetaElementDocumentation_ = other.impl_->loadMetaElementDocumentation_;
        fresh->loadMetaElementLengthDescription_ = other.impl_->loadMetaElementLengthDescription_;
        fresh->loadAbstractGroups_ = other.impl_->loadAbstractGroups_;
        fresh->diagnostics_ = other.impl_->diagnostics_;
        delete impl_;
        impl_ = fresh;
    }
    return *this;
}

void XSDDictionaryLoader::load(const XMLCh* path, Dictionary& dictionary) {
    impl_->load(path, dictionary);
}

void XSDDictionaryLoader::loadMetaElementDocumentation(bool load) {
    impl_->loadMetaElementDocumentation_ = load;
}
void XSDDictionaryLoader::loadMetaElementLengthDescription(bool load) {
    impl_->loadMetaElementLengthDescription_ = load;
}
void XSDDictionaryLoader::loadAbstractGroups(bool load) {
    impl_->loadAbstractGroups_ = load;
}

void XSDDictionaryLoader::setDiagnostics(LoadDiagnostics* receiver) {
    impl_->diagnostics_ = receiver;
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
