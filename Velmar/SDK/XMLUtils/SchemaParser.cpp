#include "Velmar/SDK/XMLUtils/SchemaParser.h"

#include <cstring>

#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/util/XMLString.hpp>

namespace Velmar::SDK::XMLUtils {

namespace {

std::uint64_t pack(std::uint32_t file, unsigned long line) {
    const std::uint64_t lineBits = line > 0xFFFFFFFFul ? 0xFFFFFFFFul : line;
    return (static_cast<std::uint64_t>(file) + 1) << 32 | lineBits;
}

constexpr const XMLCh* kSchemaNamespace = u"http://www.w3.org/2001/XMLSchema";

bool elementOnlyContent(const xercesc::DOMNode* element) {
    const XMLCh* name = element->getLocalName();
    return xercesc::XMLString::equals(element->getNamespaceURI(), kSchemaNamespace) &&
           !xercesc::XMLString::equals(name, u"appinfo") &&
           !xercesc::XMLString::equals(name, u"documentation");
}

bool whitespace(const XMLCh* chars, XMLSize_t length) {
    for (XMLSize_t i = 0; i < length; ++i) {
        if (chars[i] != u' ' && chars[i] != u'\n' && chars[i] != u'\t' && chars[i] != u'\r') {
            return false;
        }
    }
    return true;
}

bool isDeclaration(const XMLCh* name) {
    return xercesc::XMLString::equals(name, u"element") ||
           xercesc::XMLString::equals(name, u"attribute") ||
           xercesc::XMLString::equals(name, u"complexType");
}

}  // namespace

std::uint32_t SourcePositions::addFile(const std::string& path) {
    files_.push_back(path);
    return static_cast<std::uint32_t>(files_.size() - 1);
}

void SourcePositions::record(xercesc::DOMNode* node, std::uint32_t file, unsigned long line) {
    records_.emplace_back(node, pack(file, line));
}

SourcePositions::Packed SourcePositions::packedOf(const xercesc::DOMNode* node) const {
    if (indexed_ < records_.size()) {
        index_.reserve(records_.size());
        for (; indexed_ < records_.size(); ++indexed_) {
            index_[records_[indexed_].first] = records_[indexed_].second;
        }
    }
    const auto found = index_.find(node);
    return found != index_.end() ? found->second : Packed{0};
}

SourcePositions::Position SourcePositions::find(const xercesc::DOMNode* node) const {
    const Packed packed = packedOf(node);
    const std::uint64_t file = packed >> 32;
    if (file == 0 || file > files_.size()) {
        return {};
    }
    return {&files_[file - 1], static_cast<unsigned long>(packed & 0xFFFFFFFFu)};
}

void SourcePositions::copyTree(const xercesc::DOMNode* from, const xercesc::DOMNode* to) {
    // Depth is bounded by the parser's limit. A copy whose original has no position gets 0, so
    // that it does not keep the position of a released node it reuses the memory of.
    records_.emplace_back(to, packedOf(from));
    const xercesc::DOMNode* a = from->getFirstChild();
    const xercesc::DOMNode* b = to->getFirstChild();
    for (; a != nullptr && b != nullptr; a = a->getNextSibling(), b = b->getNextSibling()) {
        if (a->getNodeType() == xercesc::DOMNode::ELEMENT_NODE) {
            copyTree(a, b);
        }
    }
}

SchemaParser::SchemaParser(SourcePositions& positions)
    : DOMLSParserImpl(nullptr, &arena), positions_(positions) {}

void SchemaParser::startElement(const xercesc::XMLElementDecl& declaration,
                                const unsigned int urlId, const XMLCh* const prefix,
                                const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
                                const XMLSize_t attributeCount, const bool isEmpty,
                                const bool isRoot) {
    const auto line = [this] {
        return static_cast<unsigned long>(getScanner()->getLocator()->getLineNumber());
    };
    if (++depth_ > kMaxDepth) {
        throw ParserLimit{line(),
                          "elements nest deeper than " + std::to_string(kMaxDepth) + " levels"};
    }
    if (attributeCount > kMaxAttributes) {
        throw ParserLimit{
            line(), "an element has more than " + std::to_string(kMaxAttributes) + " attributes"};
    }
    const unsigned depth = depth_;
    // The root is always made, so that a file that is no schema is refused as one.
    if (skipFrom_ == 0 && !keepDocumentation_ && depth >= 2 &&
        xercesc::XMLString::equals(declaration.getBaseName(), u"documentation") &&
        xercesc::XMLString::equals(getScanner()->getURIText(urlId), kSchemaNamespace)) {
        skipFrom_ = depth;
    }
    if (skipFrom_ != 0) {
        if (isEmpty) {
            endElement(declaration, urlId, isRoot, prefix);
        }
        return;
    }
    // An empty element's end comes from inside this call, so the depth is read before it.
    DOMLSParserImpl::startElement(declaration, urlId, prefix, attributes, attributeCount, isEmpty,
                                  isRoot);
    xercesc::DOMNode* element = getCurrentNode();  // also when empty and ended already
    // Within an xs:appinfo or xs:documentation everything is kept.
    const bool inside = depth >= 2 && !elementOnly_[depth - 2];
    elementOnly_.resize(depth);
    elementOnly_[depth - 1] = !inside && elementOnlyContent(element);
    const bool topLevel = depth == 2;
    if (topLevel) {
        topLevel_.push_back(static_cast<xercesc::DOMElement*>(element));
    }
    // Markup inside an appinfo (the registered types) is kept with its lines too, for messages.
    if (topLevel || inside || isDeclaration(declaration.getBaseName())) {
        positions_.record(element, file_, line());
    }
}

void SchemaParser::docCharacters(const XMLCh* const chars, const XMLSize_t length,
                                 const bool /*cdataSection*/) {
    if (skipFrom_ != 0) {
        return;
    }
    if (depth_ > 0 && depth_ <= elementOnly_.size() && elementOnly_[depth_ - 1] &&
        whitespace(chars, length)) {
        return;
    }
    noteTopLevelNode();
    DOMLSParserImpl::docCharacters(chars, length, false);
}

void SchemaParser::endElement(const xercesc::XMLElementDecl& declaration, const unsigned int urlId,
                              const bool isRoot, const XMLCh* const prefix) {
    if (skipFrom_ != 0) {
        if (depth_-- == skipFrom_) {
            skipFrom_ = 0;
        }
        return;
    }
    --depth_;
    DOMLSParserImpl::endElement(declaration, urlId, isRoot, prefix);
}

void SchemaParser::docComment(const XMLCh* const comment) {
    if (skipFrom_ == 0) {
        noteTopLevelNode();
        DOMLSParserImpl::docComment(comment);
    }
}

void SchemaParser::docPI(const XMLCh* const target, const XMLCh* const data) {
    if (skipFrom_ == 0) {
        noteTopLevelNode();
        DOMLSParserImpl::docPI(target, data);
    }
}

// A node other than an element made among the root's children, whose list is then not whole.
void SchemaParser::noteTopLevelNode() {
    if (depth_ == 1) {
        topLevelElementsOnly_ = false;
    }
}

// An entity's content is balanced within an element, so a reference that starts inside a
// skipped element ends inside it.
void SchemaParser::startEntityReference(const xercesc::XMLEntityDecl& entity) {
    if (skipFrom_ == 0) {
        noteTopLevelNode();
        DOMLSParserImpl::startEntityReference(entity);
    }
}

void SchemaParser::endEntityReference(const xercesc::XMLEntityDecl& entity) {
    if (skipFrom_ == 0) {
        DOMLSParserImpl::endEntityReference(entity);
    }
}

}  // namespace Velmar::SDK::XMLUtils
