// Writing a dictionary in the registered-data convention from the registers' records.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <ostream>
#include <set>

#include "RegisterImport.h"
#include "RegisterTypes.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

namespace {

std::string escape(const std::string& value) {
    return Velmar::SDK::Utils::xmlEscaped(value);
}

// "urn:smpte:ul:060e2b34.01010101.01011502.00000000" as 16 bytes, or empty.
std::vector<unsigned> ulBytes(const std::string& urn) {
    std::string hex;
    for (char c : urn.substr(urn.rfind(':') + 1)) {
        if (std::isxdigit(static_cast<unsigned char>(c)))
            hex += c;
    }
    std::vector<unsigned> bytes;
    if (hex.size() != 32)
        return bytes;
    for (int i = 0; i < 16; ++i)
        bytes.push_back(std::stoul(hex.substr(2 * i, 2), nullptr, 16));
    return bytes;
}

std::string dotted(std::vector<unsigned> bytes) {
    std::string out;
    char pair[4];
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::snprintf(pair, sizeof pair, "%02x", bytes[i] & 0xFF);
        out += (i ? "." : "") + std::string(pair);
    }
    return out;
}

bool isInteger(const std::string& type) {
    return type.find("Int") != std::string::npos;
}

bool isDecimal(const std::string& value) {
    const std::size_t start = !value.empty() && value[0] == '-' ? 1 : 0;
    return value.size() > start &&
           value.find_first_not_of("0123456789", start) == std::string::npos;
}

constexpr const char* kFileFormat = "urn:SMPTE:MXF:file_format";
constexpr const char* kRegisteredTypes = "urn:velmar:xsddictionary:registered-types";

// The types register's kind, with the two kinds it leaves to symbols and base types told apart.
std::string typeKind(const Registers& registers, const Registers::Type& type) {
    if (type.kind == "Integer" && type.symbol.find("Float") != std::string::npos) {
        return "Float";
    }
    if (type.kind == "Enumeration") {
        const auto base = registers.types.find(type.baseType);
        if (base != registers.types.end() && base->second.symbol == "AUID") {
            return "ExtendibleEnumeration";
        }
    }
    return type.kind;
}

class Writer {
  public:
    Writer(const Registers& registers, std::ostream& out) : r_(registers), out_(out) {}

    ImportReport write(int copies) {
        plan();
        out_ << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
             << "<!-- A dictionary in the registered-data convention, made by xsddict "
                "import-registers from the\n"
             << "     public SMPTE register snapshots"
             << (copies > 1 ? ", every declaration written " + std::to_string(copies) + " times"
                            : "")
             << ". -->\n"
             << "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\" xmlns:ff=\""
             << kFileFormat << "\"";
        for (const auto& [uri, prefix] : prefixes_) {
            out_ << "\n           xmlns:" << prefix << "=\"" << escape(uri) << "\"";
        }
        out_ << ">\n"
             << "  <xs:complexType name=\"StrongRefHolder\"/>\n  <xs:complexType "
                "name=\"WeakRefHolder\"/>\n"
             << "  <xs:complexType name=\"StrongRefArray\"/>\n  <xs:complexType "
                "name=\"StrongRefBatch\"/>\n"
             << "  <xs:complexType name=\"WeakRefArray\"/>\n  <xs:complexType "
                "name=\"WeakRefBatch\"/>\n"
             << "  <xs:complexType name=\"Array\"/>\n  <xs:complexType name=\"Batch\"/>\n"
             << "  <xs:simpleType name=\"Ref\"><xs:restriction "
                "base=\"xs:string\"/></xs:simpleType>\n";
        writeRegisteredTypes();
        for (int copy = 0; copy < copies; ++copy) {
            copy_ = copy;
            for (const auto& element : elements_)
                writeElement(element);
            for (const auto& group : r_.groups)
                writeGroup(group);
        }
        out_ << "</xs:schema>\n";
        report_.elements *= copies;
        report_.simple *= copies;
        report_.collections *= copies;
        report_.references *= copies;
        report_.referenceCollections *= copies;
        report_.sets *= copies;
        report_.members *= copies;
        report_.defaults *= copies;
        return report_;
    }

  private:
    struct Planned {
        const Registers::Element* element;
        Mapped mapped;
        std::string name;
    };

    void skip(const std::string& line) { report_.skipped.push_back(line); }

    // Names, prefixes, tags and mappings, decided once for every copy.
    void plan() {
        for (const auto& group : r_.groups) {
            for (const auto& record : group.records) {
                // Tags are hexadecimal without leading zeros: "08" is 00.08. Some vintages
                // write 0 for a member without a tag; 00.00 is no tag.
                if (!record.localTag.empty() &&
                    record.localTag.find_first_not_of('0') == std::string::npos) {
                    report_.quirks.push_back("local tag " + record.localTag + " of member " +
                                             record.ul + " in group " + group.symbol +
                                             ": read as no tag");
                } else if (!record.localTag.empty() && record.localTag.size() <= 4) {
                    tags_[record.ul] =
                        std::string(4 - record.localTag.size(), '0') + record.localTag;
                } else if (!record.localTag.empty()) {
                    skip("local tag " + record.localTag + " of member " + record.ul + " in group " +
                         group.symbol + ": more than two bytes");
                }
            }
        }
        std::set<std::string> used;
        for (const auto& element : r_.elements) {
            if (element.type.empty()) {
                skip("element " + element.symbol + ": the register gives it no type");
                continue;
            }
            Mapped mapped = mapType(r_, element.type);
            if (mapped.kind == Mapped::None) {
                skip("element " + element.symbol + ": " + mapped.reason);
                continue;
            }
            if ((mapped.kind == Mapped::Reference || mapped.kind == Mapped::References) &&
                groupByUl(mapped.target) == nullptr) {
                skip("element " + element.symbol + ": its target group " + mapped.target +
                     " is not in the groups register");
                continue;
            }
            std::string name = element.symbol;
            for (int n = 2; used.count(name) != 0; ++n)
                name = element.symbol + "_" + std::to_string(n);
            if (name != element.symbol) {
                skip("element " + element.symbol + " of " + element.nameSpace +
                     ": the symbol is taken, written as " + name);
            }
            used.insert(name);
            prefixFor(element.nameSpace);
            elementNames_[element.ul] = name;
            elements_.push_back({&element, mapped, name});
            ++report_.elements;
            ++(mapped.kind == Mapped::Simple      ? report_.simple
               : mapped.kind == Mapped::Values    ? report_.collections
               : mapped.kind == Mapped::Reference ? report_.references
                                                  : report_.referenceCollections);
            report_.localTags += tags_.count(element.ul);
        }
        for (const auto& group : r_.groups) {
            std::string name = group.symbol;
            if (used.count(name) != 0) {
                name += "Group";
                skip("group " + group.symbol + ": an element has the same symbol, written as " +
                     name);
            }
            used.insert(name);
            prefixFor(group.nameSpace);
            groupNames_[group.ul] = name;
        }
        for (const auto& group : r_.groups) {
            if (!group.parent.empty() && groupByUl(group.parent) == nullptr) {
                skip("group " + group.symbol + ": its parent " + group.parent +
                     " is not in the groups register");
            }
            for (const auto& record : group.records) {
                if (elementNames_.count(record.ul) == 0) {
                    skip("member " + record.ul + " of group " + group.symbol +
                         ": its element was not imported");
                } else {
                    ++report_.members;
                    if (!record.value.empty()) {
                        if (defaultFits(record)) {
                            ++report_.defaults;
                        } else {
                            skip("value \"" + record.value + "\" of member " +
                                 elementNames_[record.ul] + " in group " + group.symbol +
                                 ": it does not fit the element's type");
                        }
                    }
                }
            }
            ++report_.sets;
        }
    }

    const Registers::Group* groupByUl(const std::string& ul) const {
        for (const auto& group : r_.groups) {
            if (group.ul == ul)
                return &group;
        }
        return nullptr;
    }

    bool defaultFits(const Registers::Record& record) const {
        for (const auto& planned : elements_) {
            if (planned.element->ul == record.ul) {
                return planned.mapped.kind == Mapped::Simple && isInteger(planned.mapped.type) &&
                       isDecimal(record.value);
            }
        }
        return false;
    }

    const std::string& prefixFor(const std::string& uri) {
        auto it = prefixes_.find(uri);
        if (it == prefixes_.end()) {
            it = prefixes_.emplace(uri, "r" + std::to_string(prefixes_.size() + 1)).first;
        }
        return it->second;
    }

    // Copies get their own names and, through the fourth byte, their own labels and keys.
    std::string named(const std::string& name) const {
        return copy_ == 0 ? name : name + "_c" + std::to_string(copy_);
    }
    std::string label(const std::string& urn, bool isSet = false,
                      const std::string& klvSyntax = "") const {
        std::vector<unsigned> bytes = ulBytes(urn);
        if (bytes.size() != 16)
            return "";
        if (isSet && bytes[5] == 0x7f && klvSyntax.find("53") != std::string::npos)
            bytes[5] = 0x53;
        bytes[3] += copy_;
        return dotted(bytes);
    }

    void annotation(const std::string& ul, const std::string& name, const std::string& nameSpace,
                    const std::string& definition, const std::string& tag,
                    const std::string& length, bool registered) {
        out_ << "    <xs:annotation>\n";
        if (!definition.empty())
            out_ << "      <xs:documentation>" << escape(definition) << "</xs:documentation>\n";
        if (registered)
            out_ << "      <xs:appinfo source=\"RP210\">true</xs:appinfo>\n";
        out_ << "      <xs:appinfo source=\"UL Designator\">" << ul << "</xs:appinfo>\n"
             << "      <xs:appinfo source=\"Name In Specification\">" << escape(name)
             << "</xs:appinfo>\n";
        if (tag.size() == 4)
            out_ << "      <xs:appinfo source=\"Local Tag\">" << tag.substr(0, 2) << "."
                 << tag.substr(2) << "</xs:appinfo>\n";
        if (!length.empty())
            out_ << "      <xs:appinfo source=\"Length\">" << escape(length) << "</xs:appinfo>\n";
        out_ << "      <xs:appinfo source=\"XMLNamespaceURI\">" << escape(nameSpace)
             << "</xs:appinfo>\n"
             << "    </xs:annotation>\n";
    }

    // Every type with its members or items, each imported element's type, the register's
    // symbols that declarations could not take, and every label: for readers that decode
    // values by type and name labels. Written once, whatever the copies.
    void writeRegisteredTypes() {
        out_ << "  <xs:annotation>\n    <xs:appinfo source=\"Registered Types\">\n"
             << "      <rt:Types xmlns:rt=\"" << kRegisteredTypes << "\">\n";
        const auto isLabel = [](const std::string& ul) { return ulBytes(ul).size() == 16; };
        for (const auto& [ul, type] : r_.types) {
            if (!isLabel(ul)) {
                skip("type " + type.symbol + ": its UL " + ul + " is not a label");
                continue;
            }
            const std::string kind = typeKind(r_, type);
            ++report_.types;
            out_ << "        <rt:Type ul=\"" << escape(ul) << "\" symbol=\"" << escape(type.symbol)
                 << "\" name=\"" << escape(type.name) << "\" namespace=\"" << escape(type.nameSpace)
                 << "\" kind=\"" << kind << "\"";
            if ((kind == "Integer" || kind == "Float" || kind == "FixedArray") &&
                !type.size.empty()) {
                out_ << " size=\"" << escape(type.size) << "\"";
            }
            if (kind == "Integer" && type.qualifiers.find("isSigned") != std::string::npos) {
                out_ << " signed=\"true\"";
            }
            if (isLabel(type.baseType)) {
                out_ << " base=\"" << escape(type.baseType) << "\"";
            }
            const bool record = kind == "Record";
            const bool enumeration = kind == "Enumeration" || kind == "ExtendibleEnumeration";
            if ((!record && !enumeration) || type.facets.empty()) {
                out_ << "/>\n";
                continue;
            }
            out_ << ">\n";
            for (const auto& facet : type.facets) {
                if (record && !isLabel(facet.typeOrValue)) {
                    skip("member " + facet.symbol + " of type " + type.symbol +
                         ": its type is not a label");
                    continue;
                }
                out_ << "          <rt:" << (record ? "Member" : "Item") << " symbol=\""
                     << escape(facet.symbol) << "\" name=\"" << escape(facet.name) << "\" "
                     << (record ? "type" : "value") << "=\"" << escape(facet.typeOrValue)
                     << "\"/>\n";
            }
            out_ << "        </rt:Type>\n";
        }
        std::set<std::string> uniqueIDs;
        for (const auto& group : r_.groups) {
            for (const auto& record : group.records) {
                if (record.uniqueID) {
                    uniqueIDs.insert(record.ul);
                }
            }
        }
        for (const auto& planned : elements_) {
            const Registers::Element& e = *planned.element;
            if (!isLabel(e.type)) {
                continue;  // the element's type is in no register: it has its data type only
            }
            out_ << "        <rt:Element ul=\"" << escape(e.ul) << "\" type=\"" << escape(e.type)
                 << "\"";
            if (planned.name != e.symbol) {
                out_ << " symbol=\"" << escape(e.symbol) << "\"";
            }
            if (uniqueIDs.count(e.ul) != 0) {
                out_ << " unique=\"true\"";
            }
            out_ << "/>\n";
        }
        for (const auto& group : r_.groups) {
            if (groupNames_.at(group.ul) != group.symbol) {
                out_ << "        <rt:Set ul=\"" << label(group.ul, true, group.klvSyntax)
                     << "\" symbol=\"" << escape(group.symbol) << "\"/>\n";
            }
        }
        for (const auto& l : r_.labels) {
            if (!isLabel(l.ul)) {
                skip("label " + l.symbol + ": its UL " + l.ul + " is not a label");
                continue;
            }
            ++report_.labels;
            out_ << "        <rt:Label ul=\"" << escape(l.ul) << "\" symbol=\"" << escape(l.symbol)
                 << "\" name=\"" << escape(l.name) << "\"/>\n";
        }
        out_ << "      </rt:Types>\n    </xs:appinfo>\n  </xs:annotation>\n";
    }

    void writeElement(const Planned& planned) {
        const Registers::Element& e = *planned.element;
        const Mapped& m = planned.mapped;
        const auto tag = tags_.find(e.ul);
        out_ << "  <xs:element name=\"" << named(planned.name) << "\""
             << (m.kind == Mapped::Simple ? " type=\"" + m.type + "\"" : "") << ">\n";
        annotation(label(e.ul), e.name, e.nameSpace, e.definition,
                   tag != tags_.end() ? tag->second : "", e.length, true);
        if (m.kind != Mapped::Simple) {
            out_ << "    <xs:complexType><xs:complexContent><xs:extension base=\"" << m.base
                 << "\">";
            if (m.kind == Mapped::Values) {
                out_ << "<xs:sequence><xs:element name=\"" << m.itemName << "\" type=\"" << m.type
                     << "\"/></xs:sequence>";
            } else {
                out_ << "<xs:choice><xs:element ref=\"ff:" << named(groupNames_.at(m.target))
                     << "\"/></xs:choice>";
            }
            out_ << "</xs:extension></xs:complexContent></xs:complexType>\n";
        }
        out_ << "  </xs:element>\n";
    }

    void writeGroup(const Registers::Group& g) {
        const std::string name = named(groupNames_.at(g.ul));
        const auto parent = groupNames_.find(g.parent);
        const bool hasParent = !g.parent.empty() && parent != groupNames_.end();
        // A group belongs to its parent's substitution group, so references to the parent reach it.
        out_ << "  <xs:element name=\"" << name << "\" type=\"" << name << "_t\""
             << (hasParent ? " substitutionGroup=\"ff:" + named(parent->second) + "\"" : "")
             << (g.concrete ? "" : " abstract=\"true\"") << ">\n";
        annotation(label(g.ul, true, g.klvSyntax), g.name, g.nameSpace, g.definition, "", "",
                   false);
        out_ << "  </xs:element>\n"
             << "  <xs:element name=\"Ref_" << name
             << "\" type=\"ff:Ref\" substitutionGroup=\"ff:" << name << "\"/>\n"
             << "  <xs:complexType name=\"" << name << "_t\">\n";
        if (hasParent) {
            out_ << "    <xs:complexContent>\n      <xs:extension base=\"ff:"
                 << named(parent->second) << "_t\">\n";
        }
        out_ << "        <xs:sequence>\n";
        for (const auto& record : g.records) {
            const auto element = elementNames_.find(record.ul);
            if (element == elementNames_.end())
                continue;
            out_ << "          <xs:element ref=\"ff:" << named(element->second)
                 << "\"><xs:annotation>"
                 << "<xs:appinfo source=\"use\">" << (record.optional ? "optional" : "required")
                 << "</xs:appinfo>";
            if (!record.value.empty() && defaultFits(record)) {
                out_ << "<xs:appinfo source=\"Distinguished Value\">" << escape(record.value)
                     << "</xs:appinfo>";
            }
            out_ << "</xs:annotation></xs:element>\n";
        }
        out_ << "        </xs:sequence>\n";
        if (hasParent)
            out_ << "      </xs:extension>\n    </xs:complexContent>\n";
        out_ << "  </xs:complexType>\n";
    }

    const Registers& r_;
    std::ostream& out_;
    ImportReport report_;
    std::vector<Planned> elements_;
    std::map<std::string, std::string> elementNames_, groupNames_, tags_;
    std::map<std::string, std::string> prefixes_;
    int copy_ = 0;
};

}  // namespace

ImportReport writeDictionary(const Registers& registers, std::ostream& out, int copies) {
    return Writer(registers, out).write(std::max(copies, 1));
}

}  // namespace xsddict
