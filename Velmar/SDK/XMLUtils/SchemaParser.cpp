#include "Velmar/SDK/XMLUtils/SchemaParser.h"

#include <cstring>

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
    positions_[node] = pack(file, line);
}

SourcePositions::Position SourcePositions::find(const xercesc::DOMNode* node) const {
    const auto found = positions_.find(node);
    if (found == positions_.end()) {
        return {};
    }
    const std::uint64_t file = found->second >> 32;
    if (file == 0 || file > files_.size()) {
        return {};
    }
    return {&files_[file - 1], static_cast<unsigned long>(found->second & 0xFFFFFFFFu)};
}

void SourcePositions::copyTree(const xercesc::DOMNode* from, const xercesc::DOMNode* to) {
    // Depth is bounded by the parser's limit.
    const auto found = positions_.find(from);
    if (found != positions_.end()) {
        positions_[to] = found->second;
    } else {
        positions_.erase(to);
    }
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
    // An empty element's end comes from inside this call, so the depth is read before it.
    DOMLSParserImpl::startElement(declaration, urlId, prefix, attributes, attributeCount, isEmpty,
                                  isRoot);
    xercesc::DOMNode* element = getCurrentNode();  // also when empty and ended already
    // Within an xs:appinfo or xs:documentation everything is kept.
    const bool inside = depth >= 2 && !elementOnly_[depth - 2];
    elementOnly_.resize(depth);
    elementOnly_[depth - 1] = !inside && elementOnlyContent(element);
    const bool topLevel = depth == 2;
    if (topLevel || isDeclaration(declaration.getBaseName())) {
        positions_.record(element, file_, line());
    }
}

void SchemaParser::docCharacters(const XMLCh* const chars, const XMLSize_t length,
                                 const bool /*cdataSection*/) {
    if (depth_ > 0 && depth_ <= elementOnly_.size() && elementOnly_[depth_ - 1] &&
        whitespace(chars, length)) {
        return;
    }
    DOMLSParserImpl::docCharacters(chars, length, false);
}

void SchemaParser::endElement(const xercesc::XMLElementDecl& declaration, const unsigned int urlId,
                              const bool isRoot, const XMLCh* const prefix) {
    --depth_;
    DOMLSParserImpl::endElement(declaration, urlId, isRoot, prefix);
}

}  // namespace Velmar::SDK::XMLUtils
