#pragma once

#include <map>
#include <string>
#include <vector>

namespace xsddict {

// The public SMPTE register snapshots (Elements.xml, Groups.xml, Types.xml, Labels.xml), as
// read.
struct Registers {
    struct Element {
        std::string ul, symbol, name, nameSpace, definition, type, length;
    };
    struct Record {
        std::string ul, localTag, value;
        bool optional = true;
        bool uniqueID = false;
    };
    struct Group {
        std::string ul, symbol, name, nameSpace, definition, parent, klvSyntax;
        bool concrete = true;
        std::vector<Record> records;
    };
    // A record's member (symbol, name, type) or an enumeration's item (symbol, name, value).
    struct Facet {
        std::string symbol, name, typeOrValue;
    };
    struct Type {
        std::string ul, symbol, kind, size, baseType, qualifiers, name, nameSpace;
        std::vector<Facet> facets;
    };
    struct Label {
        std::string ul, symbol, name;
    };
    std::vector<Element> elements;  // LEAF entries, in file order
    std::vector<Group> groups;
    std::map<std::string, Type> types;  // by UL
    std::vector<Label> labels;          // LEAF entries, in file order
};

// Reads the four register files of a folder with the library's protected XML reading (no
// DTD, no external entity, bounded expansion and nesting). Throws std::runtime_error naming the
// file and what is wrong.
Registers readRegisters(const std::string& folder);

}  // namespace xsddict
