#pragma once

#include <string>
#include <vector>

#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"

namespace xsddict {

// What a dictionary author would want to know about a dictionary that loads: labels and local
// tags given twice, references whose targets name no set, members the loader passed over and
// sets it skipped. Each finding is one line of text, in the order found, without repeats.
std::vector<std::string> check(Velmar::SDK::MetaMetadata::Loading::XSDDictionaryLoaderImpl& loaded,
                               const Velmar::SDK::MetaMetadata::Dictionary& dictionary);

}  // namespace xsddict
