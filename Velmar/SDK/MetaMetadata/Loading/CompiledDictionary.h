#pragma once

#include <cstddef>

#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Templates/String.h"
#include "Velmar/SDK/Templates/vector.h"

namespace Velmar::SDK::MetaMetadata {
class Dictionary;

namespace Loading {

// A Dictionary in a binary form that loads in a fraction of the schema's time: what a load of
// the schema put into it (elements in order with their kinds, types, targets and properties;
// local tags and their conflicts; attributes, shared between sets as in memory, with status,
// local tag, default value and properties; sets in order), with no text to parse.
//
// A file starts with a signature, the format version, the size of its content and a checksum
// of it. A file that is not one, is cut short, does not match its checksum, or is of another
// format version is refused with Exceptions::InvalidCompiledDictionary, and so is content
// whose counts, indexes or values do not hold together: every count is checked against the
// bytes left before anything is made from it.

// The version written, and the oldest read; a file of any other is refused (compile it
// again). Version 2 adds the registered types and labels, where the dictionary has them.
constexpr unsigned kCompiledDictionaryFormatVersion = 2;
constexpr unsigned kOldestCompiledDictionaryFormatVersion = 1;

// The dictionary's compiled form. The note is free UTF-8 text kept with it (the source it was
// made from, say). An attribute whose element the dictionary does not hold cannot be written:
// InvalidCompiledDictionary.
VELMAR_SDK_API Templates::vector<unsigned char> compileDictionary(const Dictionary& dictionary,
                                                                  const char* note = "");
// The same written to a file, through a scratch file beside it that is renamed when complete,
// so that a failure leaves no partial file. Paths are given to the system as the bytes given.
VELMAR_SDK_API void writeCompiledDictionary(const Dictionary& dictionary, const char* path,
                                            const char* note = "");

// Adds what a compiled dictionary holds to the dictionary, as a load of its schema would have.
// On a refusal, what the dictionary received before it stays there. `name` is what messages
// call the data (a file's path, say).
VELMAR_SDK_API void loadCompiledDictionary(const unsigned char* data, std::size_t size,
                                           Dictionary& dictionary,
                                           const char* name = "(in memory)");
// From a file: read whole, once. A file that cannot be read is a ParseError.
VELMAR_SDK_API void loadCompiledDictionary(const char* path, Dictionary& dictionary);

// The note a compiled dictionary was written with, after the same checks as a load.
VELMAR_SDK_API String compiledDictionaryNote(const char* path);

// Whether the data starts with a compiled dictionary's signature (its first 8 bytes).
VELMAR_SDK_API bool hasCompiledDictionarySignature(const unsigned char* data, std::size_t size);

}  // namespace Loading
}  // namespace Velmar::SDK::MetaMetadata
