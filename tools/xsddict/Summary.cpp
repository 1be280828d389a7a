#include "Summary.h"

#include <ostream>

#include "Json.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"

namespace xsddict {

namespace MM = Velmar::SDK::MetaMetadata;

namespace {
class KindVisitor : public MM::Visitors::NullMetaElementVisitor {
  public:
    using NullMetaElementVisitor::visit;
    void visit(const MM::MetaSimpleElement&) override { kind = "simple"; }
    void visit(const MM::MetaCollection&) override { kind = "collection"; }
    void visit(const MM::MetaReferenceElement&) override { kind = "reference"; }
    void visit(const MM::MetaReferenceCollection&) override { kind = "referenceCollection"; }
    const char* kind = "unknown";
};
}  // namespace

const char* kindName(const MM::MetaElement& element) {
    KindVisitor visitor;
    element.accept(visitor);
    return visitor.kind;
}

ElementFacts elementFacts(const MM::MetaElement& element) {
    class Visitor : public MM::Visitors::NullMetaElementVisitor {
      public:
        using NullMetaElementVisitor::visit;
        void visit(const MM::MetaCollectionElement& e) override {
            facts.dataSubType = e.dataSubType();
        }
        void visit(const MM::MetaReferenceHolder& e) override { facts.targets = &e.targetSets(); }
        ElementFacts facts;
    } visitor;
    element.accept(visitor);
    return visitor.facts;
}

Counts count(const MM::Dictionary& dictionary) {
    Counts counts;
    for (const MM::MetaElement& element : dictionary.metaElements()) {
        const std::string kind = kindName(element);
        ++(kind == "simple"       ? counts.simple
           : kind == "collection" ? counts.collection
           : kind == "reference"  ? counts.reference
                                  : counts.referenceCollection);
    }
    counts.sets = dictionary.metaMetadataSetCount();
    for (const MM::MetaMetadataSet& set : dictionary.metaMetadataSets()) {
        counts.attributes += set.attributeCount();
        for (const MM::MetaAttribute& attribute : set.attributes()) {
            counts.defaults += attribute.defaultValue() != nullptr ? 1 : 0;
        }
    }
    counts.localTags = dictionary.localTagCount();
    return counts;
}

void printSummary(const std::string& schema, const Counts& counts, std::ostream& out) {
    out << "schema: " << schema << "\n"
        << "elements: " << counts.elements() << " (simple " << counts.simple << ", collection "
        << counts.collection << ", reference " << counts.reference << ", referenceCollection "
        << counts.referenceCollection << ")\n"
        << "sets: " << counts.sets << "\n"
        << "attributes: " << counts.attributes << " (per set, inherited ones included)\n"
        << "local tags: " << counts.localTags << "\n"
        << "default values: " << counts.defaults << "\n";
}

void writeSummaryJson(const std::string& schema, const Counts& counts, std::ostream& out) {
    out << "{\n  \"schema\": " << jsonPath(schema) << ",\n"
        << "  \"elements\": {\"total\": " << counts.elements() << ", \"simple\": " << counts.simple
        << ", \"collection\": " << counts.collection << ", \"reference\": " << counts.reference
        << ", \"referenceCollection\": " << counts.referenceCollection << "},\n"
        << "  \"sets\": " << counts.sets << ",\n"
        << "  \"attributes\": " << counts.attributes << ",\n"
        << "  \"localTags\": " << counts.localTags << ",\n"
        << "  \"defaultValues\": " << counts.defaults << "\n}\n";
}

}  // namespace xsddict
