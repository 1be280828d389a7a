// Set discovery through the reference declarations, and the set pass along each base chain.
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"

namespace Velmar::SDK::MetaMetadata::Loading {

void XSDDictionaryLoaderImpl::collectSetDeclarations(ElementList&) {}

void XSDDictionaryLoaderImpl::loadMetaMetadataSets(Dictionary&, ElementList) {}

}  // namespace Velmar::SDK::MetaMetadata::Loading
