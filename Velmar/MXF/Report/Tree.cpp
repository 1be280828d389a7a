#include "Tree.h"

#include <ostream>

#include "../KLV/Labels.h"
#include "Html.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"

namespace Velmar::MXF::Report {

using namespace Model;
using namespace Values;
using namespace KLV;

namespace Id = SDK::Types::Identifiers;

namespace {

// Sets this deep and less are open when the page opens: the Preface, the packages and their
// tracks; deeper ones wait for a click.
constexpr std::size_t kOpenDepth = 3;
// Past these, a value is cut with a note of what is left: a page stays light whatever a file
// holds.
constexpr std::size_t kMaxListItems = 64;
constexpr std::size_t kMaxValueText = 2048;
constexpr std::size_t kMaxHexBytes = 48;

std::string typeText(const Item& item) {
    if (item.type != nullptr && !item.type->symbol.empty()) {
        return std::string(item.type->symbol);
    }
    if (item.element != nullptr) {
        if (const char* name = Id::identifierToString(item.element->dataType())) {
            return name;
        }
    }
    return item.fileDefinition ? item.fileDefinition->type : std::string();
}

class ValueWriter {
  public:
    ValueWriter(std::ostream& out, const TreeIndex& index, const LocalSet& self)
        : out_(out), index_(index), self_(self) {}

    void write(const Value& value, bool rational) {
        switch (value.kind()) {
            case Value::Kind::Boolean:
                emit(value.asBoolean() ? "true" : "false");
                break;
            case Value::Kind::Signed:
                emit(std::to_string(value.asSigned()));
                break;
            case Value::Kind::Unsigned:
                emit(std::to_string(value.asUnsigned()));
                break;
            case Value::Kind::Float:
                emit(value.floatText());
                break;
            case Value::Kind::Text:
                text(value.asText());
                break;
            case Value::Kind::Label:
                label(value);
                break;
            case Value::Kind::List:
                list(value.asList(), rational);
                break;
            case Value::Kind::Record:
                record(value.asRecord());
                break;
        }
    }

  private:
    bool full() const { return written_ >= kMaxValueText; }

    void emit(const std::string& text) {
        if (full()) {
            return;
        }
        std::size_t keep = std::min(text.size(), kMaxValueText - written_);
        if (keep < text.size()) {
            // Cut on a character's first byte: the page stays UTF-8.
            while (keep > 0 && (static_cast<unsigned char>(text[keep]) & 0xc0) == 0x80) {
                --keep;
            }
        }
        const std::string shown = keep < text.size() ? text.substr(0, keep) + "…" : text;
        written_ += shown.size();
        out_ << escape(shown);
    }

    void raw(const char* html) {
        if (!full()) {
            out_ << html;
        }
    }

    void text(const std::string& text) {
        const LocalSet* target = index_.target(text);
        if (target != nullptr && target != &self_ && !full()) {
            out_ << "<a class=\"ref\" href=\"#" << setAnchor(*target) << "\" title=\""
                 << escape("→ " + target->name() + " @" + std::to_string(target->offset)) << "\">";
            emit(text);
            out_ << "</a>";
        } else {
            emit(text);
        }
    }

    void label(const Value& value) {
        const std::string& name =
            !value.labelName().empty() ? value.labelName() : value.labelSymbol();
        if (full()) {
            return;
        }
        out_ << "<abbr title=\"" << escape(value.asText() + " " + value.labelSymbol()) << "\">";
        emit(name.empty() ? value.asText() : name);
        out_ << "</abbr>";
    }

    void list(const std::vector<Value>& items, bool rational) {
        if (rational && items.size() == 2) {
            write(items[0], false);
            raw("/");
            write(items[1], false);
            return;
        }
        raw("[");
        for (std::size_t i = 0; i < items.size() && !full(); ++i) {
            if (i == kMaxListItems) {
                emit(", … " + std::to_string(items.size() - i) + " more");
                break;
            }
            if (i != 0) {
                raw(", ");
            }
            write(items[i], false);
        }
        raw("]");
    }

    void record(const std::vector<Value::Member>& members) {
        raw("{");
        for (std::size_t i = 0; i < members.size() && !full(); ++i) {
            if (i != 0) {
                raw(", ");
            }
            emit(members[i].first + ": ");
            write(members[i].second, false);
        }
        raw("}");
    }

    std::ostream& out_;
    const TreeIndex& index_;
    const LocalSet& self_;
    std::size_t written_ = 0;
};

void writeItem(std::ostream& out, const Item& item, const LocalSet& set, const TreeIndex& index) {
    const std::string type = typeText(item);
    // Cells and rows end where the next begins (HTML's optional end tags): the rows are most
    // of a page, and a page stays light.
    out << "<tr id=\"" << itemAnchor(item) << "\"><td>" << tagText(item.tag) << "<td>"
        << escape(item.name().empty() ? std::string("(unknown item)") : item.name())
        << (item.fileDefinition ? " <span class=\"file\">(defined by the file)</span>" : "")
        << "<td>" << escape(type) << "<td>";
    if (item.value) {
        ValueWriter(out, index, set).write(*item.value, type == "Rational");
    } else {
        const std::size_t shown = std::min(item.bytes.size(), kMaxHexBytes);
        out << plainHex(item.bytes.data(), shown) << (item.bytes.size() > shown ? "…" : "")
            << " <span class=\"meta\">" << sizeText(item.bytes.size()) << "</span>";
    }
    out << "\n";
}

}  // namespace

TreeIndex::TreeIndex(const HeaderMetadata& header) {
    for (const LocalSet& set : header.sets) {
        offsets_.emplace(set.offset, &set);
        if (set.instanceUID) {
            targets_.emplace(uuidText(*set.instanceUID), &set);
        }
        if (const Item* id = itemOf(set, ItemLabels::PackageID);
            id != nullptr && id->value && id->value->kind() == Value::Kind::Text) {
            targets_.emplace(id->value->asText(), &set);
        }
    }
}

const LocalSet* TreeIndex::target(const std::string& text) const {
    const auto it = targets_.find(text);
    return it == targets_.end() ? nullptr : it->second;
}

const LocalSet* TreeIndex::setAt(std::uint64_t offset) const {
    const auto it = offsets_.find(offset);
    return it == offsets_.end() ? nullptr : it->second;
}

std::string setAnchor(const LocalSet& set) {
    return "s" + std::to_string(set.offset);
}

std::string itemAnchor(const Item& item) {
    return "i" + std::to_string(item.offset);
}

void writeTree(std::ostream& out, const HeaderMetadata& header, const TreeIndex& index) {
    std::size_t open = 0;  // sets whose <details> is not closed yet
    for (const LocalSet& set : header.sets) {
        for (; open > set.depth; --open) {
            out << "</details>\n";
        }
        const std::string name = set.name().empty() ? dottedHex(set.key.data(), 16) : set.name();
        out << "<details class=\"set\" id=\"" << setAnchor(set) << "\""
            << (open < kOpenDepth ? " open" : "") << "><summary><span class=\"sn\">" << escape(name)
            << "</span>"
            << (set.fileDefinition ? " <span class=\"file\">(defined by the file)</span>" : "")
            << "<span class=\"meta\">@" << grouped(set.offset) << " · " << set.items.size()
            << (set.items.size() == 1 ? " item" : " items");
        if (set.instanceUID) {
            out << " · " << uuidText(*set.instanceUID);
        }
        out << "</span></summary>\n<table class=\"items\"><tbody>\n";
        for (const Item& item : set.items) {
            writeItem(out, item, set, index);
        }
        out << "</tbody></table>\n";
        ++open;
    }
    for (; open > 0; --open) {
        out << "</details>\n";
    }
}

}  // namespace Velmar::MXF::Report
