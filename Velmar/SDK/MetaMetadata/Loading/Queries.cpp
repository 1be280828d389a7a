// The one way the passes read the schema: namespace set-up, the two query modes and the small
// text helpers they share.
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "Velmar/SDK/XMLUtils/DomText.h"
#include "Velmar/SDK/XMLUtils/UnicodeString.h"

namespace Velmar::SDK::MetaMetadata::Loading {

namespace {
constexpr const XMLCh* kFileFormatNamespace = u"urn:SMPTE:MXF:file_format";
}

void XSDDictionaryLoaderImpl::setUpNamespaces(xercesc::DOMDocument* document) {
    xercesc::DOMElement* root = document->getDocumentElement();
    if (root == nullptr) {
        checkFailed("document -> getDocumentElement ()",
                    WString(u"Unable to retrieve root element from document!"), __LINE__);
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
                                                        int line) {
    if (!result.isNode()) {
        WString message = u"No ";
        message += Platform::stringToWstring(missing);
        message += u" ";
        message += where;
        throw Exceptions::ParseError(message.c_str(), __FILE__, line);
    }
    return result.getNodeValue();
}

void XSDDictionaryLoaderImpl::checkFailed(const char* condition, const WString& message, int line) {
    WString text = Platform::stringToWstring(condition);
    text += u": ";
    text += message;
    throw Exceptions::ParseError(text.c_str(), __FILE__, line);
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
