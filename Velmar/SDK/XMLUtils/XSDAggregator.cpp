#include "Velmar/SDK/XMLUtils/XSDAggregator.h"

#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::SDK::XMLUtils {

namespace {

namespace fs = std::filesystem;
using xercesc::DOMElement;
using xercesc::DOMNode;
using xercesc::XMLUni;

constexpr const XMLCh* kSchemaNamespace = u"http://www.w3.org/2001/XMLSchema";
constexpr const XMLCh* kXmlnsNamespace = u"http://www.w3.org/2000/xmlns/";
// Bounds entity expansion ("billion laughs"). Dictionaries use no entities; each expansion costs
// the parser a reader of its own, so the bound is kept low.
constexpr XMLSize_t kEntityExpansionLimit = 1000;

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

// A scheme of two letters or more ("http:", "file:"); "C:" is a drive, not a scheme.
bool isUrl(const std::string& location) {
    std::size_t i = 0;
    while (i < location.size() &&
           (std::isalnum(static_cast<unsigned char>(location[i])) || location[i] == '+' ||
            location[i] == '-' || location[i] == '.')) {
        ++i;
    }
    return i >= 2 && i < location.size() && location[i] == ':' &&
           std::isalpha(static_cast<unsigned char>(location[0]));
}

// Keeps the first problem the parser reports and stops the parse there.
class ErrorCollector : public xercesc::DOMErrorHandler {
  public:
    void reset() {
        failed = false;
        message.clear();
        line = column = 0;
    }
    bool handleError(const xercesc::DOMError& error) override {
        if (error.getSeverity() == xercesc::DOMError::DOM_SEVERITY_WARNING) {
            return true;
        }
        if (!failed) {
            failed = true;
            message = narrow(error.getMessage());
            if (const xercesc::DOMLocator* where = error.getLocation()) {
                line = where->getLineNumber();
                column = where->getColumnNumber();
            }
        }
        return false;
    }
    bool failed = false;
    std::string message;
    XMLFileLoc line = 0;
    XMLFileLoc column = 0;
};

// External entities are never fetched: each is recorded and read as empty, and the parse is
// then refused.
class RefusingResolver : public xercesc::DOMLSResourceResolver {
  public:
    xercesc::DOMLSInput* resolveResource(const XMLCh*, const XMLCh*, const XMLCh*,
                                         const XMLCh* systemId, const XMLCh*) override {
        if (refused.empty()) {
            refused = narrow(systemId);
        }
        static const XMLByte kNothing[] = {0};
        return new xercesc::Wrapper4InputSource(
            new xercesc::MemBufInputSource(kNothing, 0, systemId, false), true);
    }
    std::string refused;
};

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
        security_.setEntityExpansionLimit(kEntityExpansionLimit);
        configure(parser_);
        configure(*includeParser_);
    }

    // The caller's parser outlives this object: it must not keep pointers to our handlers.
    ~Aggregation() {
        xercesc::DOMConfiguration* config = parser_.getDomConfig();
        config->setParameter(XMLUni::fgDOMErrorHandler,
                             static_cast<xercesc::DOMErrorHandler*>(nullptr));
        config->setParameter(XMLUni::fgDOMResourceResolver,
                             static_cast<xercesc::DOMLSResourceResolver*>(nullptr));
        config->setParameter(XMLUni::fgXercesSecurityManager,
                             static_cast<xercesc::SecurityManager*>(nullptr));
    }

    void configure(xercesc::DOMLSParser& parser) {
        xercesc::DOMConfiguration* config = parser.getDomConfig();
        config->setParameter(XMLUni::fgDOMNamespaces, true);
        config->setParameter(XMLUni::fgDOMValidate, false);
        config->setParameter(XMLUni::fgDOMValidateIfSchema, false);
        config->setParameter(XMLUni::fgXercesSchema, false);
        config->setParameter(XMLUni::fgXercesLoadExternalDTD, false);
        config->setParameter(XMLUni::fgXercesDisableDefaultEntityResolution, true);
        config->setParameter(XMLUni::fgDOMEntities, false);
        config->setParameter(XMLUni::fgDOMComments, true);
        config->setParameter(XMLUni::fgDOMCDATASections, false);
        config->setParameter(XMLUni::fgXercesSecurityManager, &security_);
        config->setParameter(XMLUni::fgDOMErrorHandler,
                             static_cast<xercesc::DOMErrorHandler*>(&errors_));
        config->setParameter(XMLUni::fgDOMResourceResolver,
                             static_cast<xercesc::DOMLSResourceResolver*>(&resolver_));
    }

    xercesc::DOMDocument* run(const fs::path& path) {
        xercesc::DOMDocument* document =
            parse(parser_, path, fs::path());  // the caller's parser releases it
        root_ = document->getDocumentElement();
        read_.insert(identity(path));
        for (DOMElement* child : topLevelElements(root_)) {
            if (const XMLCh* location = includedLocation(child)) {
                include(path, location, child);
                root_->removeChild(child)->release();
            }
        }
        convertCDATASections(document);
        return document;
    }

  private:
    static std::vector<DOMElement*> topLevelElements(DOMElement* root) {
        std::vector<DOMElement*> children;
        for (DOMElement* child = root->getFirstElementChild(); child != nullptr;
             child = child->getNextElementSibling()) {
            children.push_back(child);
        }
        return children;
    }

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
        DOMElement* includedRoot = document->getDocumentElement();
        addPrefixDeclarations(includedRoot);
        for (DOMElement* child : topLevelElements(includedRoot)) {
            if (const XMLCh* nested = includedLocation(child)) {
                include(path, nested, before);
            } else {
                DOMNode* copy = root_->getOwnerDocument()->importNode(child, true);
                parser_.positions().copyTree(child, copy);
                root_->insertBefore(copy, before);
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

    static std::vector<XMLByte> readFile(const fs::path& path, const std::string& where) {
        struct stat status {};
        if (::stat(path.c_str(), &status) != 0) {
            fail("Cannot read schema file " + where + ": " + std::strerror(errno));
        }
        if (S_ISDIR(status.st_mode)) {
            fail("Cannot read schema file " + where + ": it is a directory");
        }
        if (!S_ISREG(status.st_mode)) {
            fail("Cannot read schema file " + where + ": not a regular file");
        }
        std::ifstream in(path, std::ios::binary);
        if (!in.is_open()) {
            fail("Cannot read schema file " + where + ": " + std::strerror(errno));
        }
        std::vector<XMLByte> bytes(static_cast<std::size_t>(status.st_size));
        in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        if (in.gcount() != static_cast<std::streamsize>(bytes.size())) {
            fail("Cannot read schema file " + where + ": read error");
        }
        return bytes;
    }

    xercesc::DOMDocument* parse(SchemaParser& parser, const fs::path& path,
                                const fs::path& includedFrom) {
        const std::string where = describe(path, includedFrom);
        const std::vector<XMLByte> bytes = readFile(path, where);
        const WString systemId = Utils::stringToWstring(path.c_str());
        xercesc::MemBufInputSource source(bytes.data(), bytes.size(), systemId.c_str(), false);
        xercesc::Wrapper4InputSource input(&source, false);
        errors_.reset();
        resolver_.refused.clear();
        xercesc::DOMDocument* document = nullptr;
        std::string thrown;
        parser.setFile(parser.positions().addFile(path.string()));
        try {
            document = parser.parse(&input);
        } catch (const NestingTooDeep& e) {
            fail("Cannot parse schema file " + where + " at line " + std::to_string(e.line) +
                 ": elements nest deeper than " + std::to_string(SchemaParser::kMaxDepth) +
                 " levels");
        } catch (const xercesc::XMLException& e) {
            thrown = narrow(e.getMessage());
        } catch (const xercesc::DOMException& e) {
            thrown = narrow(e.getMessage());
        }
        if (errors_.failed) {
            fail("Cannot parse schema file " + where + " at line " + std::to_string(errors_.line) +
                 ", column " + std::to_string(errors_.column) + ": " + errors_.message);
        }
        if (!thrown.empty()) {
            fail("Cannot parse schema file " + where + ": " + thrown);
        }
        if (!resolver_.refused.empty()) {
            fail("Cannot parse schema file " + where + ": it refers to the external resource \"" +
                 resolver_.refused + "\", and external resources are never loaded");
        }
        const DOMElement* root = document != nullptr ? document->getDocumentElement() : nullptr;
        if (root == nullptr) {
            fail("Cannot parse schema file " + where + ": no root element");
        }
        if (!sameText(root->getNamespaceURI(), kSchemaNamespace) ||
            !sameText(root->getLocalName(), u"schema")) {
            fail("Schema file " + where + " has the root element <" + narrow(root->getTagName()) +
                 ">, not an XML Schema xs:schema element");
        }
        return document;
    }

    // Queries read text nodes only; CDATA sections become text joined with their neighbours.
    static void convertCDATASections(xercesc::DOMDocument* document) {
        std::vector<DOMNode*> sections;
        for (DOMNode* node = document->getDocumentElement(); node != nullptr;) {
            if (node->getNodeType() == DOMNode::CDATA_SECTION_NODE) {
                sections.push_back(node);
            }
            if (DOMNode* child = node->getFirstChild()) {
                node = child;
                continue;
            }
            while (node != nullptr && node->getNextSibling() == nullptr) {
                node = node->getParentNode();
                if (node == document) {
                    node = nullptr;
                }
            }
            if (node != nullptr) {
                node = node->getNextSibling();
            }
        }
        std::set<DOMNode*> parents;
        for (DOMNode* section : sections) {
            DOMNode* parent = section->getParentNode();
            parent->replaceChild(document->createTextNode(section->getNodeValue()), section)
                ->release();
            parents.insert(parent);
        }
        for (DOMNode* parent : parents) {
            parent->normalize();
        }
    }

    SchemaParser& parser_;
    xercesc::SecurityManager security_;
    ErrorCollector errors_;
    RefusingResolver resolver_;
    OwnedParser includeParser_;
    DOMElement* root_ = nullptr;
    std::set<std::string> read_;
};

}  // namespace

XSDAggregator::XSDAggregator(const XMLCh* folder, const XMLCh* fileName)
    : folder_(folder != nullptr ? folder : u""), fileName_(fileName != nullptr ? fileName : u"") {}

XSDAggregator::~XSDAggregator() = default;

xercesc::DOMDocument* XSDAggregator::createStandAloneSchemaDocument(SchemaParser& parser) {
    const std::string folder(Utils::toUtf8(folder_.c_str()).c_str());
    const std::string fileName(Utils::toUtf8(fileName_.c_str()).c_str());
    if (isUrl(folder) || isUrl(fileName)) {
        fail("Refusing to read \"" + folder + "/" + fileName + "\": only local files are read");
    }
    Aggregation aggregation(parser);
    return aggregation.run(fs::path(folder + "/" + fileName));
}

}  // namespace Velmar::SDK::XMLUtils
