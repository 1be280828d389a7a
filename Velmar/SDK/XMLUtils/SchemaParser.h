#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include <xercesc/dom/DOMUserDataHandler.hpp>
#include <xercesc/parsers/DOMLSParserImpl.hpp>

namespace Velmar::SDK::XMLUtils {

// Where declarations stand in the files a schema was read from. Each recorded node carries its
// file and line as DOM user data; a clone keeps them, and copyTree carries them over to an
// imported copy (the parser's import calls no handler for its source's data).
class SourcePositions : public xercesc::DOMUserDataHandler {
  public:
    struct Position {
        const std::string* file = nullptr;  // as given to the reader; null where unknown
        unsigned long line = 0;
    };

    std::uint32_t addFile(const std::string& path);
    void record(xercesc::DOMNode* node, std::uint32_t file, unsigned long line);
    Position find(const xercesc::DOMNode* node) const;
    // Carries the positions of a tree over to its imported copy, node for node.
    void copyTree(const xercesc::DOMNode* from, xercesc::DOMNode* to);

    void handle(DOMOperationType operation, const XMLCh* key, void* data,
                const xercesc::DOMNode* source, xercesc::DOMNode* destination) override;

  private:
    std::deque<std::string> files_;  // never moves what find gave out
};

// Raised inside a parse when elements nest deeper than the parser's limit.
struct NestingTooDeep {
    unsigned long line;
};

// The parser schema files are read with. It records the position of every top-level component
// and of every element, attribute and complexType declaration, and refuses nesting deeper than
// kMaxDepth from its own start and end callbacks: with namespaces on, the parser resolves each
// prefix by walking the whole element stack, so its cost grows with the square of the depth.
// Dictionaries nest fewer than 20 levels.
class SchemaParser : public xercesc::DOMLSParserImpl {
  public:
    static constexpr unsigned kMaxDepth = 1000;

    explicit SchemaParser(SourcePositions& positions);
    SourcePositions& positions() const { return positions_; }
    // The file whose positions the next parse records.
    void setFile(std::uint32_t file) {
        file_ = file;
        depth_ = 0;
    }

    void startElement(const xercesc::XMLElementDecl& declaration, const unsigned int urlId,
                      const XMLCh* const prefix,
                      const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
                      const XMLSize_t attributeCount, const bool isEmpty,
                      const bool isRoot) override;
    void endElement(const xercesc::XMLElementDecl& declaration, const unsigned int urlId,
                    const bool isRoot, const XMLCh* const prefix) override;

  private:
    SourcePositions& positions_;
    std::uint32_t file_ = 0;
    unsigned depth_ = 0;
};

}  // namespace Velmar::SDK::XMLUtils
