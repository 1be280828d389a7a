#pragma once

#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNode.hpp>

namespace Velmar::SDK::XMLUtils {

// An attribute's value, as DOMAttr::getValue gives it: text the document holds as long as it
// lives. That call reaches the attribute's text through casts that compare type names, which
// made it the loader's largest single cost; an attribute whose value is one text node (every
// attribute the parser makes, entities expanded) is read from that node directly.
inline const XMLCh* attributeValue(const xercesc::DOMAttr* attribute) {
    const xercesc::DOMNode* text = attribute->getFirstChild();
    if (text != nullptr && text->getNextSibling() == nullptr &&
        text->getNodeType() == xercesc::DOMNode::TEXT_NODE) {
        return text->getNodeValue();
    }
    return attribute->getValue();
}

// getNodeValue, with attributes read as above.
inline const XMLCh* nodeValue(const xercesc::DOMNode* node) {
    return node->getNodeType() == xercesc::DOMNode::ATTRIBUTE_NODE
               ? attributeValue(static_cast<const xercesc::DOMAttr*>(node))
               : node->getNodeValue();
}

// getAttribute: the value, or the empty text when the element has no such attribute.
inline const XMLCh* attributeValue(const xercesc::DOMElement* element, const XMLCh* name) {
    const xercesc::DOMAttr* attribute = element->getAttributeNode(name);
    return attribute != nullptr ? attributeValue(attribute) : u"";
}

// The first text child, as "text()" finds it first; null when there is none.
inline xercesc::DOMNode* firstTextChild(const xercesc::DOMNode* node) {
    for (xercesc::DOMNode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        const auto type = child->getNodeType();
        if (type == xercesc::DOMNode::TEXT_NODE || type == xercesc::DOMNode::CDATA_SECTION_NODE) {
            return child;
        }
    }
    return nullptr;
}

}  // namespace Velmar::SDK::XMLUtils
