#pragma once

#include <string>
#include <vector>

#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Templates/String.h"

namespace Velmar::SDK::MetaMetadata {
class Dictionary;

namespace Loading {

// Whether the file starts with a compiled dictionary's signature; false for any other file and
// for one that cannot be read (its load then says why).
VELMAR_SDK_API bool isCompiledDictionaryFile(const char* path);

// Loads a dictionary in either form, told apart by content rather than by name: a compiled
// dictionary (CompiledDictionary.h) or a schema (XSDDictionaryLoader, options off). Paths are
// given to the system as the bytes given.
VELMAR_SDK_API void loadDictionaryFile(const char* path, Dictionary& dictionary);

// Loads a dictionary in either form and stacks it on `dictionary` (Dictionary::stack): what it
// defines that `dictionary` lacks is added, and each clash with what `dictionary` holds already
// is a line of what is returned.
VELMAR_SDK_API std::vector<std::string> stackDictionaryFile(const char* path,
                                                            Dictionary& dictionary);

// Loads dictionaries stacked in the order given, the first at the bottom: a path with "+"
// before it asks for the built-in dictionary under them all. Each clash is a line of what is
// returned, "PATH: clash" of the dictionary that brought it.
VELMAR_SDK_API std::vector<std::string> loadStackedDictionaries(
    const std::vector<std::string>& paths, Dictionary& dictionary);

// The dictionary the package carries, compiled from the SMPTE register snapshot it was built
// with: in the package's data folder (share/velmar-xsddictionary/registers.xsdc beside the
// library's lib folder), found from where the library itself lies.
VELMAR_SDK_API String builtinDictionaryPath();
// Loads it; a package installed without it is a ParseError naming where it was looked for.
VELMAR_SDK_API void loadBuiltinDictionary(Dictionary& dictionary);

}  // namespace Loading
}  // namespace Velmar::SDK::MetaMetadata
