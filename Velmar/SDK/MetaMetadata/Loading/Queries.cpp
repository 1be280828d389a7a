// The one way the passes read the schema: namespace set-up, the two query modes and the small
// text helpers they share.
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xercesc/util/XMLChar.hpp>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "Velmar/SDK/XMLUtils/DomPrefetch.h"
#include "Velmar/SDK/XMLUtils/DomText.h"
#include "Velmar/SDK/XMLUtils/UnicodeString.h"

namespace Velmar::SDK::MetaMetadata::Loading {

namespace {
constexpr const XMLCh* kFileFormatNamespace = u"urn:SMPTE:MXF:file_format";

WString quotedCharacter(XMLCh c) {
    if (c == u' ') {
        return u"a space";
    }
    if (c < 0x20 || c >= 0xD800) {
        return u"a control or unpaired character";
    }
    return WString(u"\"") + c + u"\"";
}

// Why a text that is not a valid NCName (or QName, with one colon allowed) is not one.
WString whyNotAName(const WString& text, bool qualified) {
    const std::size_t colon = qualified ? text.find(u':') : WString::npos;
    if (colon != WString::npos && text.find(u':', colon + 1) != WString::npos) {
        return u"it has more than one colon";
    }
    if (colon == 0 || (colon != WString::npos && colon + 1 == text.size())) {
        return u"a colon cannot start or end it";
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i == colon) {
            continue;
        }
        const XMLCh c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            ++i;  // a character beyond the first plane, which names may hold
            continue;
        }
        const bool starts = i == 0 || (colon != WString::npos && i == colon + 1);
        if (starts && !xercesc::XMLChar1_0::isFirstNCNameChar(c)) {
            return quotedCharacter(c) + u" cannot start a name";
        }
        if (!xercesc::XMLChar1_0::isNCNameChar(c)) {
            return quotedCharacter(c) + u" cannot be part of one";
        }
    }
    return u"it is not one";
}
}  // namespace

void XSDDictionaryLoaderImpl::setUpNamespaces(xercesc::DOMDocument* document) {
    xercesc::DOMElement* root = document->getDocumentElement();
    if (root == nullptr) {
        checkFailed("document -> getDocumentElement ()",
                    WString(u"Unable to retrieve root element from document!"));
    }
    namespace2PrefixMap_.emplace(WString(kFileFormatNamespace), WString(u"ff"));
    nsResolver_->addNamespaceBinding(XMLUtils::UnicodeString("ff").utf16(),
                                     XMLUtils::UnicodeString(kFileFormatNamespace).utf16());

    xercesc::DOMNamedNodeMap* attributes = root->getAttributes();
    for (XMLSize_t i = 0; i < attributes->getLength(); ++i) {
        const xercesc::DOMNode* attribute = attributes->item(i);
        const XMLCh* prefix = attribute->getPrefix();
        if (prefix == nullptr || WString(prefix) != u"xmlns") {
            continue;
        }
        WString uri = toWString(XMLUtils::nodeValue(attribute));
        WString name = toWString(attribute->getLocalName());
        namespace2PrefixMap_.emplace(uri, name);
        nsResolver_->addNamespaceBinding(name.c_str(), uri.c_str());
    }
}

xercesc::DOMElement* XSDDictionaryLoaderImpl::rootElement() const {
    return document_->getDocumentElement();
}

void XSDDictionaryLoaderImpl::selectNodes(const XMLCh* query, const xercesc::DOMNode* context,
                                          XMLUtils::NodeList& nodes, Prefixes prefixes) {
    const XMLUtils::XPathExpression& expression =
        evaluator_->createExpression(query, prefixes == Prefixes::Bound ? nsResolver_ : nullptr);
    evaluator_->evaluate(expression, context, nodes);
}

void XSDDictionaryLoaderImpl::selectElements(const XMLCh* query, const xercesc::DOMNode* context,
                                             ElementList& list, Prefixes prefixes) {
    XMLUtils::NodeList nodes;
    selectNodes(query, context, nodes, prefixes);
    // The node's type says what a cast would (without comparing type names across libraries).
    for (xercesc::DOMNode* node : nodes) {
        list.push_back(node->getNodeType() == xercesc::DOMNode::ELEMENT_NODE
                           ? static_cast<xercesc::DOMElement*>(node)
                           : nullptr);
    }
}

FirstResult XSDDictionaryLoaderImpl::selectFirst(const XMLCh* query,
                                                 const xercesc::DOMNode* context,
                                                 Prefixes prefixes) {
    XMLUtils::NodeList nodes;
    selectNodes(query, context, nodes, prefixes);
    return FirstResult(nodes.empty() ? nullptr : nodes.front());
}

WString XSDDictionaryLoaderImpl::firstText(const XMLCh* query, const xercesc::DOMNode* context,
                                           Prefixes prefixes) {
    FirstResult result = selectFirst(query, context, prefixes);
    return result.isNode() ? toWString(XMLUtils::nodeValue(result.getNodeValue())) : WString();
}

FirstResult XSDDictionaryLoaderImpl::appinfo(const xercesc::DOMNode* declaration,
                                             const XMLCh* source) {
    // A declaration is asked for several sources in a row: its appinfos and their sources are
    // read from the DOM once, and each source is then found among them without a DOM walk.
    if (declaration != appinfoOwner_) {
        appinfoOwner_ = nullptr;  // until the selection below is whole
        appinfos_.clear();
        appinfoNodes_.clear();
        selectNodes(u"./xs:annotation/xs:appinfo[@source]", declaration, appinfoNodes_);
        for (xercesc::DOMNode* node : appinfoNodes_) {
            if (node->getNodeType() == xercesc::DOMNode::ELEMENT_NODE) {
                appinfos_.push_back(
                    Appinfo{XMLUtils::attributeValue(static_cast<const xercesc::DOMElement*>(node),
                                                     u"source"),
                            XMLUtils::firstTextChild(node)});
            }
        }
        appinfoOwner_ = declaration;
    }
    for (const Appinfo& found : appinfos_) {
        if (found.text != nullptr && xercesc::XMLString::equals(found.source, source)) {
            return FirstResult(found.text);
        }
    }
    return FirstResult(nullptr);
}

WString XSDDictionaryLoaderImpl::appinfoText(const xercesc::DOMNode* declaration,
                                             const XMLCh* source) {
    const FirstResult text = appinfo(declaration, source);
    return text.isNode() ? toWString(text.getNodeValue()->getNodeValue()) : WString();
}

WString XSDDictionaryLoaderImpl::localPart(WString qualifiedName) {
    const auto colon = qualifiedName.find(u':');
    return colon == WString::npos ? qualifiedName : qualifiedName.substr(colon + 1);
}

WString XSDDictionaryLoaderImpl::toWString(const XMLCh* text) {
    WString result;
    XMLUtils::utf16ToWstring(text, result);
    return result;
}

xercesc::DOMNode* XSDDictionaryLoaderImpl::requiredNode(const FirstResult& result,
                                                        const char* missing, const WString& where,
                                                        const char* file, int line) {
    if (!result.isNode()) {
        WString message = u"No ";
        message += Platform::stringToWstring(missing);
        message += u" ";
        message += where;
        throw Exceptions::ParseError(message.c_str(), file, line);
    }
    return result.getNodeValue();
}

WString XSDDictionaryLoaderImpl::declaredName(const xercesc::DOMElement* declaration,
                                              const XMLCh* attribute,
                                              const xercesc::DOMElement* holder) const {
    WString value =
        toWString(XMLUtils::attributeValue(holder != nullptr ? holder : declaration, attribute));
    const bool qualified = WString(attribute) != u"name";
    if (value.empty() ||
        (qualified ? xercesc::XMLChar1_0::isValidQName(value.c_str(), value.size())
                   : xercesc::XMLChar1_0::isValidNCName(value.c_str(), value.size()))) {
        return value;
    }
    // The declaration by its own name where that is one, and by where it stands.
    WString message = u"xs:" + toWString(declaration->getLocalName());
    const WString name = toWString(XMLUtils::attributeValue(declaration, u"name"));
    if ((qualified || holder != nullptr) &&
        xercesc::XMLChar1_0::isValidNCName(name.c_str(), name.size())) {
        message += u" \"" + name + u"\"";
    }
    const SourcePosition position = sourcePosition(declaration);
    if (position.known()) {
        message += u" in " + Utils::bytesToWstring(position.file.c_str()) + u" at line " +
                   Utils::stringToWstring(std::to_string(position.line).c_str());
    }
    message += u": its " + WString(attribute) + u" \"" + value + u"\" is not an XML name: " +
               whyNotAName(value, qualified);
    throw Exceptions::ParseError(message.c_str(), __FILE__, __LINE__);
}

void XSDDictionaryLoaderImpl::indexTopLevel() {
    if (!topLevelIndexed_) {
        auto index = [this](const XMLCh* query, ByDocumentName<xercesc::DOMElement*>& into) {
            ElementList found;
            selectElements(query, rootElement(), found);
            into.reserve(found.size());
            XMLUtils::forEachPrefetched(found, [&](xercesc::DOMElement* declaration) {
                into.emplace(XMLUtils::attributeValue(declaration, u"name"), declaration);
            });
        };
        index(u"/xs:schema/xs:element", topLevelElements_);
        index(u"/xs:schema/xs:complexType", topLevelComplexTypes_);
        topLevelIndexed_ = true;
    }
}

const xercesc::DOMElement* XSDDictionaryLoaderImpl::topLevelElement(const WString& name) {
    indexTopLevel();
    const auto found = topLevelElements_.find(name);
    return found != topLevelElements_.end() ? found->second : nullptr;
}

xercesc::DOMElement* XSDDictionaryLoaderImpl::topLevelComplexType(const WString& name) {
    indexTopLevel();
    const auto found = topLevelComplexTypes_.find(name);
    return found != topLevelComplexTypes_.end() ? found->second : nullptr;
}

void XSDDictionaryLoaderImpl::checkFailed(const char* condition, const WString& message,
                                          const char* file, int line) {
    WString text = Platform::stringToWstring(condition);
    text += u": ";
    text += message;
    throw Exceptions::ParseError(text.c_str(), file, line);
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
