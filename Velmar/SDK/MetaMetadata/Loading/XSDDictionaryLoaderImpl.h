#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMLSParser.hpp>

#include "Velmar/SDK/KLV/Key.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/LoadDiagnostics.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/Platform/ClassAllocation.h"
#include "Velmar/SDK/Templates/String.h"
#include "Velmar/SDK/Templates/auto_ptr.h"
#include "Velmar/SDK/Templates/map.h"
#include "Velmar/SDK/Templates/unordered_map.h"
#include "Velmar/SDK/Templates/vector.h"
#include "Velmar/SDK/Types/LocalTag.h"
#include "Velmar/SDK/XMLUtils/SchemaParser.h"
#include "Velmar/SDK/XMLUtils/XPathEvaluator.h"

namespace Velmar::SDK::MetaMetadata::Loading {

// Non-owning pointers to element nodes of the schema document; an entry is null where a query
// result was not an element.
using ElementList = Templates::vector<xercesc::DOMElement*>;

// The first item of a query's result.
class FirstResult {
  public:
    explicit FirstResult(xercesc::DOMNode* node) : node_(node) {}
    bool isNode() const { return node_ != nullptr; }
    xercesc::DOMNode* getNodeValue() const { return node_; }

  private:
    xercesc::DOMNode* node_;
};

// Whether a query's prefixes resolve through the schema's bindings or not at all.
enum class Prefixes { Bound, None };

struct ParserRelease {
    void operator()(XMLUtils::SchemaParser* parser) const { parser->release(); }
};

// The state of one loader, carried from pass to pass. Every pass is a member operation and
// reads the schema only through selectElements and selectFirst. The passes live in one file
// per family: the frame and driver here, queries, elements, reference targets, sets,
// attributes and values beside it.
class XSDDictionaryLoaderImpl {
    VELMAR_SDK_CLASS_ALLOCATION
    XSDDictionaryLoaderImpl();
    ~XSDDictionaryLoaderImpl();
    XSDDictionaryLoaderImpl(const XSDDictionaryLoaderImpl&) = delete;
    XSDDictionaryLoaderImpl& operator=(const XSDDictionaryLoaderImpl&) = delete;

    // Frame and driver. load normalises and splits the path, then runs the driver.
    void load(const XMLCh* path, Dictionary& dictionary);
    static WString splitSchemaPath(WString& path);
    void loadDictionary(WString folder, WString fileName, Dictionary& dictionary);

    // Document and queries.
    void attachDocument(xercesc::DOMDocument* document);
    void releaseDocument() noexcept;
    void setUpNamespaces(xercesc::DOMDocument* document);
    xercesc::DOMElement* rootElement() const;
    void selectElements(const XMLCh* query, const xercesc::DOMNode* context, ElementList& list,
                        Prefixes prefixes = Prefixes::Bound);
    // All results as nodes, for queries that select attributes or text.
    void selectNodes(const XMLCh* query, const xercesc::DOMNode* context, XMLUtils::NodeList& nodes,
                     Prefixes prefixes = Prefixes::Bound);
    FirstResult selectFirst(const XMLCh* query, const xercesc::DOMNode* context,
                            Prefixes prefixes = Prefixes::Bound);
    // The first result's text (a text node's, or an attribute's value); empty when there is
    // no result, for reads where no node and an empty text mean the same.
    WString firstText(const XMLCh* query, const xercesc::DOMNode* context,
                      Prefixes prefixes = Prefixes::Bound);
    // The first text of the declaration's xs:annotation/xs:appinfo of this source, as
    // "./xs:annotation/xs:appinfo[@source='...']/text()" gives it first. The passes ask one
    // declaration for several sources in a row, so its appinfo elements are selected once and
    // kept until another declaration is asked.
    FirstResult appinfo(const xercesc::DOMNode* declaration, const XMLCh* source);
    WString appinfoText(const xercesc::DOMNode* declaration, const XMLCh* source);
    static WString localPart(WString qualifiedName);
    static WString toWString(const XMLCh* text);
    // Both raise at the caller's file and line.
    [[noreturn]] static void checkFailed(const char* condition, const WString& message,
                                         const char* file = __builtin_FILE(),
                                         int line = __builtin_LINE());
    // The node of a first result that must have one; otherwise a ParseError saying what was
    // missing on which declaration.
    static xercesc::DOMNode* requiredNode(const FirstResult& result, const char* missing,
                                          const WString& where, const char* file = __builtin_FILE(),
                                          int line = __builtin_LINE());
    // An attribute naming something (name, ref, type, substitutionGroup, base); empty when
    // absent. A value that is not an XML name is refused with the declaration's file and line,
    // so that no such text reaches a lookup or a message unchecked. The attribute may stand on
    // an element inside the declaration (a complexType's base).
    WString declaredName(const xercesc::DOMElement* declaration, const XMLCh* attribute,
                         const xercesc::DOMElement* holder = nullptr) const;
    // Top-level element and complexType declarations by name, the first of a name winning, as
    // a query would find it. Built on first use with one query each.
    const xercesc::DOMElement* topLevelElement(const WString& name);
    xercesc::DOMElement* topLevelComplexType(const WString& name);
    void indexTopLevel();

    // Element discovery and descriptive properties.
    Templates::auto_ptr<Types::UniversalLabel> declarationUniversalLabel(
        const xercesc::DOMElement* declaration);
    static void checkULDesignator(WString designator);
    Templates::auto_ptr<KLV::Key> declarationKey(const xercesc::DOMElement* declaration);
    WString nameAttribute(const xercesc::DOMElement* declaration) const;
    WString namespaceURIAnnotation(const xercesc::DOMNode* node);
    void addDescriptiveProperties(const xercesc::DOMElement* declaration, PropertyMap& target);
    void addMetaElementProperties(const xercesc::DOMElement* declaration, MetaElement& element);

    // Meta-element construction.
    Templates::auto_ptr<MetaElement> createMetaElement(Dictionary& dictionary,
                                                       const xercesc::DOMElement* declaration);
    void determineDataTypes(const xercesc::DOMElement* declaration,
                            Types::Identifiers::Identifier& dataType,
                            Types::Identifiers::Identifier& dataSubType);
    WString contentBaseType(const xercesc::DOMElement* declaration);
    static void referenceDataTypes(WString baseName, Types::Identifiers::Identifier& dataType,
                                   Types::Identifiers::Identifier& dataSubType);
    Types::Identifiers::Identifier collectionSubDataType(const xercesc::DOMElement* declaration);
    Templates::auto_ptr<Types::LocalTag> declarationLocalTag(
        const xercesc::DOMElement* declaration);

    // Reference targets.
    using NameList = Templates::vector<WString>;
    void collectReferenceTargetNames(const xercesc::DOMElement* declaration, NameList& names);
    void readSubstitutionGroups();
    void addSubstitutionGroupMembers(NameList& names);
    void referenceTargetKeys(const NameList& names, KeyVector& keys) const;

    // Set discovery and the base chain of each set.
    void collectRefDeclarations(ElementList& declarations);
    Templates::auto_ptr<MetaMetadataSet> createMetaMetadataSet(
        const xercesc::DOMElement* declaration);
    WString typeAttribute(const xercesc::DOMElement* declaration) const;
    // The set's name only goes into messages.
    void collectAttributeDeclarations(ElementList& members, WString typeName,
                                      const WString& setName = WString());
    xercesc::DOMElement* findComplexType(const WString& name, const WString& usedAs);
    WString baseTypeName(const xercesc::DOMElement* complexType);
    void collectMemberDeclarations(const xercesc::DOMElement* complexType, ElementList& members);

    // Attributes.
    Templates::auto_ptr<MetaAttribute> createMetaAttribute(const xercesc::DOMElement* member,
                                                           std::uint32_t position);
    WString refAttribute(const xercesc::DOMElement* declaration) const;
    AttributeRequiredStatus::Status requiredStatus(const xercesc::DOMElement* member);
    WString distinguishedValueText(const xercesc::DOMElement* member);
    WString requiresSemanticsValidationText(const xercesc::DOMElement* member);
    static Templates::auto_ptr<Types::BaseType> parseDefaultValue(WString text,
                                                                  const MetaElement& element);
    static Templates::auto_ptr<Types::BaseType> parseCollectionDefaultValue(
        WString text, const MetaCollectionElement& element);

    // Default value texts. They use no loader state.
    static Templates::auto_ptr<Types::BaseType> parseValue(
        Types::Identifiers::Identifier dataType, Types::Identifiers::Identifier dataSubType,
        WString text);
    static void splitValueList(WString text, NameList& items);
    static Templates::auto_ptr<Types::BaseType> parseRational(WString text);
    static Templates::auto_ptr<Types::BaseType> parseArray(Types::Identifiers::Identifier itemType,
                                                           WString text);
    static Templates::auto_ptr<Types::BaseType> parseBatch(Types::Identifiers::Identifier itemType,
                                                           WString text);
    static int collectionElementSize(Types::Identifiers::Identifier itemType);

    // Diagnostics, told only when a receiver is installed: a load without one pays nothing.
    bool diagnosing() const { return diagnostics_ != nullptr; }
    SourcePosition sourcePosition(const xercesc::DOMNode* node) const;
    // Each declaration is reported at most once per kind (a set reached through two reference
    // declarations is built twice).
    void diagnose(LoadDiagnostic::Kind kind, const xercesc::DOMElement* declaration,
                  const WString& name, const WString& message, const WString& set = WString(),
                  const xercesc::DOMElement* other = nullptr, const WString& otherName = WString());
    void diagnoseSkippedMember(const xercesc::DOMElement* member, const WString& setName);
    void diagnoseLocalTag(const xercesc::DOMElement* declaration, const Types::LocalTag& tag,
                          const Types::UniversalLabel& label, const Dictionary& dictionary);
    void diagnoseLabel(const xercesc::DOMElement* declaration, const Types::UniversalLabel& label);
    void diagnoseSetKey(const xercesc::DOMElement* declaration, const KLV::Key& key);
    void diagnoseSubstitutionCycles();
    void diagnoseAbstractTargets(const xercesc::DOMElement* declaration,
                                 const NameList& targetNames);

    // Registered types and labels.
    void loadRegisteredTypes(Dictionary& dictionary);
    void addRegisteredEntry(const xercesc::DOMElement* entry, TypeDefinitions::Builder& builder);
    void addRegisteredType(const xercesc::DOMElement* entry, TypeDefinitions::Builder& builder);
    std::string entryText(const xercesc::DOMElement* entry, const XMLCh* attribute, bool required);
    LabelBytes entryLabel(const xercesc::DOMElement* entry, const XMLCh* attribute);
    [[noreturn]] void refuseEntry(const xercesc::DOMElement* entry, const WString& why);

    // Passes, in the driver's order.
    void collectMetaElementDeclarations(ElementList& declarations);
    void collectSetDeclarations(ElementList& declarations);
    void collectSetKeys(const ElementList& declarations);
    void loadMetaElements(Dictionary& dictionary, const ElementList& declarations);
    void loadMetaMetadataSets(Dictionary& dictionary, ElementList declarations);

    bool firstLoad_ = true;
    WString schemaFolder_;
    WString schemaFileName_;
    xercesc::DOMDocument* document_ = nullptr;  // the parser's; never released here
    XMLUtils::SourcePositions positions_;       // outlives the parser, whose nodes point at it
    std::unique_ptr<XMLUtils::SchemaParser, ParserRelease> parser_;
    XMLUtils::NamespaceResolver* nsResolver_ = nullptr;  // the evaluator's
    // Destroyed before the parser releases the document it reads.
    Templates::auto_ptr<XMLUtils::XPathEvaluator> evaluator_;
    // Looked up once or more per declaration and never walked in order: hashed.
    template <class T>
    using ByName = Templates::unordered_map<WString, T>;
    ByName<MetaElement*> name2MetaElementMap_;
    Templates::unordered_map<const MetaElement*, const Types::LocalTag*> metaElement2LocalTagMap_;
    // Sets derived from one base share its members: each type's member declarations, and each
    // member's attribute at its position (a base's members keep theirs in every derived set),
    // are made once. Keyed by the DOM's nodes: cleared with it.
    Templates::unordered_map<const xercesc::DOMElement*, ElementList> membersOfType_;
    Templates::unordered_map<const xercesc::DOMElement*, std::pair<std::uint32_t, MetaAttributePtr>>
        attributeOfMember_;
    ByName<KLV::Key*> setName2KeyMap_;  // owns the keys
    // Top-level declarations by the name texts the document holds: cleared with it.
    template <class T>
    using ByDocumentName = Templates::unordered_map<std::u16string_view, T>;
    ByDocumentName<xercesc::DOMElement*> topLevelElements_;
    ByDocumentName<xercesc::DOMElement*> topLevelComplexTypes_;
    bool topLevelIndexed_ = false;
    const xercesc::DOMNode* appinfoOwner_ = nullptr;
    struct Appinfo {
        const XMLCh* source;
        xercesc::DOMNode* text;  // the first text child; null when there is none
    };
    Templates::vector<Appinfo> appinfos_;
    XMLUtils::NodeList appinfoNodes_;
    Templates::map<WString, WString> namespace2PrefixMap_;
    bool loadMetaElementDocumentation_ = false;
    bool loadMetaElementLengthDescription_ = false;
    bool loadAbstractGroups_ = false;
    // The members of each substitution group in document order: the group query gives the
    // same declarations for every reference, so it is read once per load.
    Templates::map<WString, Templates::vector<WString>> substitutionGroups_;
    bool substitutionGroupsRead_ = false;
    // For diagnostics only: the member declarations in document order, and by name the group
    // each names and the first declaration of that name.
    ElementList substitutionMembers_;
    Templates::map<WString, WString> substitutionGroupOf_;
    Templates::map<WString, const xercesc::DOMElement*> substitutionDeclarationOf_;
    std::size_t memberDeclarationCount_ = 0;

    LoadDiagnostics* diagnostics_ = nullptr;  // not owned
    std::set<std::pair<LoadDiagnostic::Kind, const xercesc::DOMElement*>> diagnosed_;
    // The first declaration of each label, tag and set key, for naming both sides of a clash.
    Templates::map<Types::UniversalLabel, const xercesc::DOMElement*> labelDeclarations_;
    Templates::map<Types::LocalTag, const xercesc::DOMElement*> tagDeclarations_;
    Templates::map<KLV::Key, const xercesc::DOMElement*> setKeyDeclarations_;
};

}  // namespace Velmar::SDK::MetaMetadata::Loading
