#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace xsddict {

// The public SMPTE register snapshots (Elements.xml, Groups.xml, Types.xml), as read.
struct Registers {
    struct Element {
        std::string ul, symbol, name, nameSpace, definition, type, length;
    };
    struct Record {
        std::string ul, localTag, value;
        bool optional = true;
    };
    struct Group {
        std::string ul, symbol, name, nameSpace, definition, parent, klvSyntax;
        bool concrete = true;
        std::vector<Record> records;
    };
    struct Type {
        std::string ul, symbol, kind, size, baseType, qualifiers;
    };
    std::vector<Element> elements;  // LEAF entries, in file order
    std::vector<Group> groups;
    std::map<std::string, Type> types;  // by UL
};

// Reads the three register files of a folder. Throws std::runtime_error naming the file.
Registers readRegisters(const std::string& folder);

// What the import made and what it could not express, with the reason for each.
struct ImportReport {
    std::size_t elements = 0, simple = 0, collections = 0, references = 0, referenceCollections = 0;
    std::size_t sets = 0, members = 0, localTags = 0, defaults = 0;
    std::vector<std::string> skipped;  // one line each: what, and why
};

// Writes one dictionary in the registered-data convention: an element declaration per
// register element whose type can be expressed, a set declaration with its reference
// declaration and complex type per group. With copies above 1 every declaration is written
// again under new names and labels, for measuring how load cost grows.
ImportReport writeDictionary(const Registers& registers, std::ostream& out, int copies = 1);

}  // namespace xsddict
