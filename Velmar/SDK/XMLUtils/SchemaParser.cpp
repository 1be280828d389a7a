#include "Velmar/SDK/XMLUtils/SchemaParser.h"

#include <cstring>

#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/util/XMLString.hpp>

namespace Velmar::SDK::XMLUtils {

namespace {

constexpr const XMLCh* kPositionKey = u"velmar-source-position";

// File index and line in the user data pointer itself: no allocation per node.
static_assert(sizeof(void*) >= 8, "positions are packed into a pointer");
void* pack(std::uint32_t file, unsigned long line) {
    const std::uint64_t lineBits = line > 0xFFFFFFFFul ? 0xFFFFFFFFul : line;
    return reinterpret_cast<void*>(
        static_cast<std::uintptr_t>((static_cast<std::uint64_t>(file) + 1) << 32 | lineBits));
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
    node->setUserData(kPositionKey, pack(file, line), this);
}

SourcePositions::Position SourcePositions::find(const xercesc::DOMNode* node) const {
    if (node == nullptr) {
        return {};
    }
    const auto bits = static_cast<std::uint64_t>(
        reinterpret_cast<std::uintptr_t>(node->getUserData(kPositionKey)));
    const std::uint64_t file = bits >> 32;
    if (file == 0 || file > files_.size()) {
        return {};
    }
    return {&files_[file - 1], static_cast<unsigned long>(bits & 0xFFFFFFFFu)};
}

void SourcePositions::copyTree(const xercesc::DOMNode* from, xercesc::DOMNode* to) {
    // Depth is bounded by the parser's limit.
    if (void* data = from->getUserData(kPositionKey)) {
        to->setUserData(kPositionKey, data, this);
    }
    const xercesc::DOMNode* a = from->getFirstChild();
    xercesc::DOMNode* b = to->getFirstChild();
    for (; a != nullptr && b != nullptr; a = a->getNextSibling(), b = b->getNextSibling()) {
        if (a->getNodeType() == xercesc::DOMNode::ELEMENT_NODE) {
            copyTree(a, b);
        }
    }
}

void SourcePositions::handle(DOMOperationType operation, const XMLCh* key, void* data,
                             const xercesc::DOMNode*, xercesc::DOMNode* destination) {
    if ((operation == NODE_IMPORTED || operation == NODE_CLONED) && destination != nullptr) {
        destination->setUserData(key, data, this);
    }
}

SchemaParser::SchemaParser(SourcePositions& positions) : positions_(positions) {}

void SchemaParser::startElement(const xercesc::XMLElementDecl& declaration,
                                const unsigned int urlId, const XMLCh* const prefix,
                                const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
                                const XMLSize_t attributeCount, const bool isEmpty,
                                const bool isRoot) {
    if (++depth_ > kMaxDepth) {
        throw NestingTooDeep{
            static_cast<unsigned long>(getScanner()->getLocator()->getLineNumber())};
    }
    const unsigned depth = depth_;
    // An empty element's end comes from inside this call, so the depth is read before it.
    DOMLSParserImpl::startElement(declaration, urlId, prefix, attributes, attributeCount, isEmpty,
                                  isRoot);
    const bool topLevel = depth == 2;
    if (topLevel || isDeclaration(declaration.getBaseName())) {
        positions_.record(getCurrentNode(), file_,
                          static_cast<unsigned long>(getScanner()->getLocator()->getLineNumber()));
    }
}

void SchemaParser::endElement(const xercesc::XMLElementDecl& declaration, const unsigned int urlId,
                              const bool isRoot, const XMLCh* const prefix) {
    --depth_;
    DOMLSParserImpl::endElement(declaration, urlId, isRoot, prefix);
}

}  // namespace Velmar::SDK::XMLUtils
