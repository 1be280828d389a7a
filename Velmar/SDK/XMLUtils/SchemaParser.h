#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <xercesc/parsers/DOMLSParserImpl.hpp>

#include "Velmar/SDK/XMLUtils/MemoryManager.h"

namespace Velmar::SDK::XMLUtils {

// Where declarations stand in the files a schema was read from, by node. Kept here rather than
// as DOM user data: a document with user data allocates when it is released, and a release
// that fails for want of memory would end the process from inside the parser's destructor.
class SourcePositions {
  public:
    struct Position {
        const std::string* file = nullptr;  // as given to the reader; null where unknown
        unsigned long line = 0;
    };

    std::uint32_t addFile(const std::string& path);
    void record(xercesc::DOMNode* node, std::uint32_t file, unsigned long line);
    Position find(const xercesc::DOMNode* node) const;
    // Carries the positions of a tree over to its imported copy, node for node. The copy's
    // nodes may reuse the memory of released ones, so what they do not get is cleared.
    void copyTree(const xercesc::DOMNode* from, const xercesc::DOMNode* to);

  private:
    // File index + 1 in the high half, line in the low half; 0 where unknown.
    using Packed = std::uint64_t;

    Packed packedOf(const xercesc::DOMNode* node) const;

    std::deque<std::string> files_;  // never moves what find gave out
    // Recorded in the parser's callbacks, tens of thousands of times a load, and looked up only
    // when something is reported: appended here, indexed on the first lookup after a record.
    // A later record for a node (whose memory a released one had) outranks an earlier one.
    std::vector<std::pair<const xercesc::DOMNode*, Packed>> records_;
    mutable std::unordered_map<const xercesc::DOMNode*, Packed> index_;
    mutable std::size_t indexed_ = 0;  // records_ up to here are in index_
};

// Raised inside a parse when a document goes past one of the parser's limits.
struct ParserLimit {
    unsigned long line;
    std::string what;  // which limit, as the end of a sentence
};

// The parser schema files are read with. It records the position of every top-level component
// and of every element, attribute and complexType declaration, and refuses nesting deeper than
// kMaxDepth from its own start and end callbacks: with namespaces on, the parser resolves each
// prefix by walking the whole element stack, so its cost grows with the square of the depth.
// Dictionaries nest fewer than 20 levels. Likewise it refuses an element of more than
// kMaxAttributes attributes before the DOM adds them, each by a search of those before it. The
// parser and its documents allocate from an arena of their own, made before the parser and freed
// after it. CDATA sections arrive as text joined with their neighbours, as the queries read
// them (this parser's cdata-sections setting does not reach its DOM builder). Whitespace
// between the elements of the schema vocabulary, whose content is elements only (all but
// xs:appinfo and xs:documentation), makes no text node: no query reads it, and in a dictionary
// such text is about as many nodes as the elements themselves. Unless asked to keep them,
// xs:documentation elements make no nodes either: only the documentation option reads them, and
// in a register dictionary they are a tenth of the elements and of the text.
struct ParserArena {
    ArenaMemoryManager arena;
};

class SchemaParser : private ParserArena, public xercesc::DOMLSParserImpl {
  public:
    static constexpr unsigned kMaxDepth = 1000;
    static constexpr XMLSize_t kMaxAttributes = 1000;

    explicit SchemaParser(SourcePositions& positions);
    SourcePositions& positions() const { return positions_; }
    // The arena, for what is made for this parser's use (its input sources).
    xercesc::MemoryManager* memory() { return &arena; }
    // The file whose positions the next parse records.
    void setFile(std::uint32_t file) {
        file_ = file;
        depth_ = 0;
        skipFrom_ = 0;
        elementOnly_.clear();
        topLevel_.clear();
        topLevelElementsOnly_ = true;
    }
    void keepDocumentation(bool keep) { keepDocumentation_ = keep; }
    bool keepsDocumentation() const { return keepDocumentation_; }
    // The root's element children the last parse made, in order, listed as they were made: a
    // walk among thousands of top-level declarations far apart in memory misses the cache at
    // every one. Handed over: the parser keeps no list. Whether they are all its children (no
    // comment, PI or text beside them).
    std::vector<xercesc::DOMElement*> takeTopLevelElements() { return std::move(topLevel_); }
    bool topLevelIsElementsOnly() const { return topLevelElementsOnly_; }

    void startElement(const xercesc::XMLElementDecl& declaration, const unsigned int urlId,
                      const XMLCh* const prefix,
                      const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
                      const XMLSize_t attributeCount, const bool isEmpty,
                      const bool isRoot) override;
    void endElement(const xercesc::XMLElementDecl& declaration, const unsigned int urlId,
                    const bool isRoot, const XMLCh* const prefix) override;
    void docCharacters(const XMLCh* const chars, const XMLSize_t length,
                       const bool cdataSection) override;
    void docComment(const XMLCh* const comment) override;
    void docPI(const XMLCh* const target, const XMLCh* const data) override;
    void startEntityReference(const xercesc::XMLEntityDecl& entity) override;
    void endEntityReference(const xercesc::XMLEntityDecl& entity) override;

  private:
    void noteTopLevelNode();

    SourcePositions& positions_;
    std::uint32_t file_ = 0;
    unsigned depth_ = 0;
    unsigned skipFrom_ = 0;  // depth of the element whose content makes no nodes; 0 for none
    bool keepDocumentation_ = true;
    std::vector<bool> elementOnly_;  // by depth: whether that element's content is elements only
    std::vector<xercesc::DOMElement*> topLevel_;
    bool topLevelElementsOnly_ = true;
};

}  // namespace Velmar::SDK::XMLUtils
