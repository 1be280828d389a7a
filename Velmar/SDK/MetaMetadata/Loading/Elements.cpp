// Element discovery, set keys and meta-element construction.
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"

namespace Velmar::SDK::MetaMetadata::Loading {

void XSDDictionaryLoaderImpl::collectMetaElementDeclarations(ElementList&) {}

void XSDDictionaryLoaderImpl::collectSetKeys(const ElementList&) {}

void XSDDictionaryLoaderImpl::loadMetaElements(Dictionary&, const ElementList&) {}

}  // namespace Velmar::SDK::MetaMetadata::Loading
