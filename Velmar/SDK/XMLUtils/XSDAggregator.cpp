#include "Velmar/SDK/XMLUtils/XSDAggregator.h"

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "Velmar/SDK/XMLUtils/XMLFileParsing.h"

namespace Velmar::SDK::XMLUtils {

namespace {

namespace fs = std::filesystem;
using xercesc::DOMElement;
using xercesc::DOMNode;

constexpr const XMLCh* kSchemaNamespace = u"http://www.w3.org/2001/XMLSchema";
constexpr const XMLCh* kXmlnsNamespace = u"http://www.w3.org/2000/xmlns/";

// Raised at the caller's line, so that the position says which check refused the file.
[[noreturn]] void fail(const std::string& message, int line = __builtin_LINE()) {
    throw Exceptions::ParseError(message.c_str(), __FILE__, line);
}

std::string narrow(const XMLCh* text) {
    return std::string(Utils::toUtf8(text).c_str());
}

bool sameText(const XMLCh* a, const XMLCh* b) {
    return a != nullptr && b != nullptr && xercesc::XMLString::equals(a, b);
}

struct ParserRelease {
    void operator()(SchemaParser* parser) const { parser->release(); }
};
using OwnedParser = std::unique_ptr<SchemaParser, ParserRelease>;

class Aggregation {
  public:
    // The main file is read with the caller's parser, whose document it becomes; included files
    // with a parser of our own, whose documents go with this object.
    explicit Aggregation(SchemaParser& parser)
        : parser_(parser), includeParser_(new SchemaParser(parser.positions())) {
        files_.configure(parser_);
        files_.configure(*includeParser_);
        includeParser_->keepDocumentation(parser_.keepsDocumentation());
    }

    // The merged root's element children in order are put in topLevel, and whether they are
    // all its children in complete.
    xercesc::DOMDocument* run(const fs::path& path, std::vector<DOMElement*>& topLevel,
                              bool& complete) {
        xercesc::DOMDocument* document =
            parse(parser_, path, fs::path());  // the caller's parser releases it
        root_ = document->getDocumentElement();
        read_.insert(identity(path));
        topLevel_ = &topLevel;
        topLevel.clear();
        complete = parser_.topLevelIsElementsOnly();
        // Included files' components are added to the list as they take their include's place.
        const std::vector<DOMElement*> children = parser_.takeTopLevelElements();
        topLevel.reserve(children.size());
        for (DOMElement* child : children) {
            if (const XMLCh* location = includedLocation(child)) {
                include(path, location, child);
                root_->removeChild(child)->release();
            } else {
                topLevel.push_back(child);
            }
        }
        return document;
    }

  private:
    static const XMLCh* includedLocation(const DOMElement* element) {
        if (!sameText(element->getNamespaceURI(), kSchemaNamespace)) {
            return nullptr;
        }
        const XMLCh* name = element->getLocalName();
        if (!sameText(name, u"include") && !sameText(name, u"redefine") &&
            !sameText(name, u"import")) {
            return nullptr;
        }
        const XMLCh* location = element->getAttribute(u"schemaLocation");
        return location != nullptr && *location != 0 ? location : nullptr;
    }

    static std::string identity(const fs::path& path) {
        std::error_code ignored;
        fs::path canonical = fs::weakly_canonical(path, ignored);
        return (canonical.empty() ? path.lexically_normal() : canonical).string();
    }

    // Puts the included file's components where the include element stands, expanding its own
    // includes (relative to its folder) as they come.
    void include(const fs::path& includingFile, const XMLCh* location, DOMNode* before) {
        const std::string text = narrow(location);
        if (isUrl(text)) {
            fail("Refusing to read \"" + text + "\" included from \"" + includingFile.string() +
                 "\": only local files are read");
        }
        fs::path path =
            fs::path(text).is_absolute() ? fs::path(text) : includingFile.parent_path() / text;
        path = path.lexically_normal();
        if (!read_.insert(identity(path)).second) {
            return;
        }
        xercesc::DOMDocument* document = parse(*includeParser_, path, includingFile);
        addPrefixDeclarations(document->getDocumentElement());
        // Taken before a nested include parses with the same parser.
        const std::vector<DOMElement*> children = includeParser_->takeTopLevelElements();
        for (DOMElement* child : children) {
            if (const XMLCh* nested = includedLocation(child)) {
                include(path, nested, before);
            } else {
                DOMNode* copy = root_->getOwnerDocument()->importNode(child, true);
                parser_.positions().copyTree(child, copy);
                root_->insertBefore(copy, before);
                topLevel_->push_back(static_cast<DOMElement*>(copy));
            }
        }
    }

    void addPrefixDeclarations(const DOMElement* includedRoot) {
        xercesc::DOMNamedNodeMap* attributes = includedRoot->getAttributes();
        for (XMLSize_t i = 0; i < attributes->getLength(); ++i) {
            const DOMNode* attribute = attributes->item(i);
            if (!sameText(attribute->getNamespaceURI(), kXmlnsNamespace) ||
                !sameText(attribute->getPrefix(), u"xmlns")) {
                continue;
            }
            if (!root_->hasAttributeNS(kXmlnsNamespace, attribute->getLocalName())) {
                root_->setAttributeNS(kXmlnsNamespace, attribute->getNodeName(),
                                      attribute->getNodeValue());
            }
        }
    }

    // "path", or "path" (included from "other") for an included file.
    static std::string describe(const fs::path& path, const fs::path& includedFrom) {
        std::string text = "\"" + path.string() + "\"";
        return includedFrom.empty() ? text
                                    : text + " (included from \"" + includedFrom.string() + "\")";
    }

    xercesc::DOMDocument* parse(SchemaParser& parser, const fs::path& path,
                                const fs::path& includedFrom) {
        const std::string where = describe(path, includedFrom);
        xercesc::DOMDocument* document = files_.parse(parser, path, where);
        const DOMElement* root = document->getDocumentElement();
        if (!sameText(root->getNamespaceURI(), kSchemaNamespace) ||
            !sameText(root->getLocalName(), u"schema")) {
            fail("Schema file " + where + " has the root element <" + narrow(root->getTagName()) +
                 ">, not an XML Schema xs:schema element");
        }
        return document;
    }

    SchemaParser& parser_;
    OwnedParser includeParser_;
    XMLFileParsing files_{"schema file"};  // goes first: it unhooks itself from both parsers
    DOMElement* root_ = nullptr;
    std::vector<DOMElement*>* topLevel_ = nullptr;
    std::set<std::string> read_;
};

}  // namespace

XSDAggregator::XSDAggregator(const XMLCh* folder, const XMLCh* fileName)
    : folder_(folder != nullptr ? folder : u""), fileName_(fileName != nullptr ? fileName : u"") {}

XSDAggregator::~XSDAggregator() = default;

xercesc::DOMDocument* XSDAggregator::createStandAloneSchemaDocument(SchemaParser& parser) {
    // As the bytes the caller gave, whatever their encoding.
    const std::string folder(Utils::wstringToBytes(folder_.c_str()).c_str());
    const std::string fileName(Utils::wstringToBytes(fileName_.c_str()).c_str());
    if (isUrl(folder) || isUrl(fileName)) {
        fail("Refusing to read \"" + folder + "/" + fileName + "\": only local files are read");
    }
    Aggregation aggregation(parser);
    return aggregation.run(fs::path(folder + "/" + fileName), topLevel_, topLevelComplete_);
}

}  // namespace Velmar::SDK::XMLUtils
