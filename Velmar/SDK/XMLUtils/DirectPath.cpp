#include "Velmar/SDK/XMLUtils/DirectPath.h"

#include <tuple>

#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMDocument.hpp>

#include "Velmar/SDK/XMLUtils/DomPrefetch.h"
#include "Velmar/SDK/XMLUtils/DomText.h"
#include "Velmar/SDK/XMLUtils/XPathEvaluator.h"

namespace Velmar::SDK::XMLUtils {

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;

// Without measuring b first: a holds no NUL, so a shorter b differs at its end.
bool sameText(const WString& a, const XMLCh* b) {
    if (b == nullptr)
        return false;
    std::size_t i = 0;
    for (; i < a.size(); ++i) {
        if (b[i] != a[i])
            return false;
    }
    return b[i] == 0;
}

struct NameTest {
    bool any = false;
    bool hasNamespace = false;
    WString uri;
    WString local;

    bool matches(const DOMNode* node) const {
        if (node->getNodeType() != DOMNode::ELEMENT_NODE) {
            return false;
        }
        if (any) {
            return true;
        }
        const XMLCh* localName =
            node->getLocalName() != nullptr ? node->getLocalName() : node->getNodeName();
        if (!sameText(local, localName)) {
            return false;
        }
        const XMLCh* namespaceUri = node->getNamespaceURI();
        return hasNamespace ? sameText(uri, namespaceUri)
                            : namespaceUri == nullptr || *namespaceUri == 0;
    }
};

}  // namespace

struct Predicate;

struct Step {
    enum Axis { Child, Descendant, Attribute, Text, OutermostAncestor } axis = Child;
    NameTest test;
    WString attribute;
    std::vector<Predicate> predicates;
};

struct DirectPath::Path {
    bool absolute = false;
    std::vector<Step> steps;
};

struct Predicate {
    enum Kind { Exists, Equals, Differs, And } kind = Exists;
    std::unique_ptr<DirectPath::Path> path;
    WString literal;
    std::vector<Predicate> all;
};

namespace {

// Recursive descent over the supported forms; any other text fails the parse.
class Parser {
  public:
    Parser(const XMLCh* text, const NamespaceResolver* resolver)
        : text_(text), resolver_(resolver) {}

    std::unique_ptr<DirectPath::Path> parse() {
        auto path = std::make_unique<DirectPath::Path>();
        if (eat(u"ancestor::")) {
            Step step;
            step.axis = Step::OutermostAncestor;
            if (!nameTest(step.test) || !eat(u"[last()]"))
                return nullptr;
            path->steps.push_back(std::move(step));
        } else if (at(u"/") && !at(u"//")) {
            path->absolute = true;
        } else if (!eat(u".") || !at(u"/")) {
            return nullptr;
        }
        bool first = true;
        while (at(u"/")) {
            const bool descendant = eat(u"//");
            if (!descendant)
                eat(u"/");
            // Only from the context itself, so that results stay in document order.
            if (descendant && (!first || path->absolute))
                return nullptr;
            Step step;
            if (!this->step(step, descendant ? Step::Descendant : Step::Child))
                return nullptr;
            path->steps.push_back(std::move(step));
            first = false;
        }
        spaces();
        if (text_[i_] != 0 || path->steps.empty() || !finalStepsOnlyLast(*path))
            return nullptr;
        return path;
    }

  private:
    static bool finalStepsOnlyLast(const DirectPath::Path& path) {
        for (std::size_t i = 0; i + 1 < path.steps.size(); ++i) {
            if (path.steps[i].axis == Step::Attribute || path.steps[i].axis == Step::Text)
                return false;
        }
        return true;
    }

    bool at(const char16_t* literal) const {
        for (std::size_t k = 0; literal[k] != 0; ++k) {
            if (text_[i_ + k] != literal[k])
                return false;
        }
        return true;
    }
    bool eat(const char16_t* literal) {
        if (!at(literal))
            return false;
        while (*literal++ != 0)
            ++i_;
        return true;
    }
    void spaces() {
        while (text_[i_] == u' ' || text_[i_] == u'\t' || text_[i_] == u'\n' || text_[i_] == u'\r')
            ++i_;
    }

    static bool nameStart(XMLCh c) {
        return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || c == u'_' || c >= 0x80;
    }
    static bool nameChar(XMLCh c) {
        return nameStart(c) || (c >= u'0' && c <= u'9') || c == u'-' || c == u'.';
    }

    bool name(WString& out) {
        if (!nameStart(text_[i_]))
            return false;
        const std::size_t start = i_;
        while (nameChar(text_[i_]))
            ++i_;
        out.assign(text_ + start, i_ - start);
        return true;
    }

    bool nameTest(NameTest& test) {
        if (eat(u"*")) {
            test.any = true;
            return true;
        }
        WString first;
        if (!name(first))
            return false;
        if (text_[i_] == u':' && text_[i_ + 1] != u':') {
            ++i_;
            if (!name(test.local) || resolver_ == nullptr)
                return false;
            const XMLCh* uri = resolver_->lookupNamespaceURI(first.c_str());
            if (uri == nullptr)
                return false;  // the engine reports the unbound prefix
            test.hasNamespace = true;
            test.uri = uri;
            return true;
        }
        test.local = std::move(first);
        return true;
    }

    bool step(Step& step, Step::Axis axis) {
        step.axis = axis;
        if (eat(u"@")) {
            step.axis = Step::Attribute;
            return axis == Step::Child && name(step.attribute);
        }
        if (eat(u"text()")) {
            step.axis = Step::Text;
            return axis == Step::Child;
        }
        if (!nameTest(step.test))
            return false;
        while (eat(u"[")) {
            Predicate predicate;
            spaces();
            if (!andExpression(predicate))
                return false;
            spaces();
            if (!eat(u"]"))
                return false;
            step.predicates.push_back(std::move(predicate));
        }
        return true;
    }

    bool andExpression(Predicate& out) {
        Predicate first;
        if (!primary(first))
            return false;
        std::vector<Predicate> terms;
        terms.push_back(std::move(first));
        for (;;) {
            const std::size_t mark = i_;
            spaces();
            if (!eat(u"and") || !(text_[i_] == u' ' || text_[i_] == u'(')) {
                i_ = mark;
                break;
            }
            spaces();
            Predicate next;
            if (!primary(next))
                return false;
            terms.push_back(std::move(next));
        }
        if (terms.size() == 1) {
            out = std::move(terms.front());
        } else {
            out.kind = Predicate::And;
            out.all = std::move(terms);
        }
        return true;
    }

    bool primary(Predicate& out) {
        if (eat(u"(")) {
            spaces();
            if (!andExpression(out))
                return false;
            spaces();
            return eat(u")");
        }
        out.path = std::make_unique<DirectPath::Path>();
        if (!relativePath(*out.path))
            return false;
        const bool attributeValue = out.path->steps.back().axis == Step::Attribute;
        const std::size_t mark = i_;
        spaces();
        if (eat(u"!=")) {
            out.kind = Predicate::Differs;
        } else if (eat(u"=")) {
            out.kind = Predicate::Equals;
        } else {
            i_ = mark;
            out.kind = Predicate::Exists;
            return true;
        }
        spaces();
        return attributeValue && literal(out.literal);
    }

    // "@a", "./x/@a" or "x/y/@a", relative to the node under test.
    bool relativePath(DirectPath::Path& path) {
        if (eat(u"./") && at(u"/"))
            return false;
        do {
            Step step;
            if (!this->step(step, Step::Child))
                return false;
            path.steps.push_back(std::move(step));
        } while (path.steps.back().axis == Step::Child && eat(u"/"));
        return finalStepsOnlyLast(path) && path.steps.back().axis != Step::Text;
    }

    bool literal(WString& out) {
        const XMLCh quote = text_[i_];
        if (quote != u'\'' && quote != u'"')
            return false;
        const std::size_t start = ++i_;
        while (text_[i_] != 0 && text_[i_] != quote)
            ++i_;
        if (text_[i_] != quote)
            return false;
        out.assign(text_ + start, i_ - start);
        ++i_;
        return true;
    }

    const XMLCh* text_;
    const NamespaceResolver* resolver_;
    std::size_t i_ = 0;
};

template <class Sink>
bool visit(const std::vector<Step>& steps, std::size_t first, const DOMNode* node,
           ChildIndex& index, Sink& sink);

bool holds(const Predicate& predicate, const DOMNode* node, ChildIndex& index) {
    if (predicate.kind == Predicate::And) {
        for (const Predicate& term : predicate.all) {
            if (!holds(term, node, index))
                return false;
        }
        return true;
    }
    // "@a" and "@a='v'", the common forms, without a walk.
    if (predicate.path->steps.size() == 1 && predicate.path->steps[0].axis == Step::Attribute) {
        const xercesc::DOMAttr* attribute =
            node->getNodeType() == DOMNode::ELEMENT_NODE
                ? static_cast<const DOMElement*>(node)->getAttributeNode(
                      predicate.path->steps[0].attribute.c_str())
                : nullptr;
        if (predicate.kind == Predicate::Exists || attribute == nullptr) {
            return attribute != nullptr;
        }
        return sameText(predicate.literal, attributeValue(attribute)) ==
               (predicate.kind == Predicate::Equals);
    }
    // Any one node that satisfies the predicate settles it.
    bool found = false;
    auto satisfies = [&](const DOMNode* value) {
        found =
            predicate.kind == Predicate::Exists ||
            sameText(predicate.literal, nodeValue(value)) == (predicate.kind == Predicate::Equals);
        return !found;
    };
    visit(predicate.path->steps, 0, node, index, satisfies);
    return found;
}

bool selected(const Step& step, const DOMNode* node, ChildIndex& index) {
    if (!step.test.matches(node))
        return false;
    for (const Predicate& predicate : step.predicates) {
        if (!holds(predicate, node, index))
            return false;
    }
    return true;
}

// "x[@a='v']", asked among the children of a schema root: found through an index of the
// children by that attribute, built on first use.
bool indexable(const Step& step) {
    return step.predicates.size() == 1 && step.predicates[0].kind == Predicate::Equals &&
           step.predicates[0].path->steps.size() == 1;
}

const ChildIndex::Children* indexedChildren(const Step& step, const DOMNode* parent,
                                            const NodeList& children, ChildIndex& index) {
    const WString& attribute = step.predicates[0].path->steps[0].attribute;
    const ChildIndex::Selection selection{parent, step.test.any ? WString(u"*") : step.test.uri,
                                          step.test.local, attribute};
    const ChildIndex::Index* built = index.find(selection);
    if (built == nullptr) {
        ChildIndex::Index& fresh = index.build(selection);
        forEachPrefetched(children, [&](const DOMNode* child) {
            if (!step.test.matches(child))
                return;
            auto* element = static_cast<const DOMElement*>(child);
            if (const xercesc::DOMAttr* value = element->getAttributeNode(attribute.c_str())) {
                fresh[attributeValue(value)].push_back(const_cast<DOMElement*>(element));
            }
        });
        built = &fresh;
    }
    const auto found = built->find(std::u16string_view(step.predicates[0].literal));
    return found != built->end() ? &found->second : nullptr;
}

// Calls next with each node one step selects from node, in document order, until next returns
// false; returns false when it did.
template <class Next>
bool stepFrom(const Step& step, const DOMNode* node, ChildIndex& index, Next& next) {
    switch (step.axis) {
        case Step::Child:
            if (const NodeList* children = index.rootChildren(node)) {
                if (indexable(step)) {
                    if (const ChildIndex::Children* found =
                            indexedChildren(step, node, *children, index)) {
                        for (const DOMElement* child : *found) {
                            if (!next(child))
                                return false;
                        }
                    }
                    return true;
                }
                // Thousands of declarations far apart: each is tested while later ones load.
                return forEachPrefetched(*children, [&](const DOMNode* child) {
                    return !selected(step, child, index) || next(child);
                });
            }
            for (const DOMNode* child = node->getFirstChild(); child != nullptr;
                 child = child->getNextSibling()) {
                if (selected(step, child, index) && !next(child))
                    return false;
            }
            return true;
        case Step::Descendant: {
            // Document order with a stack of the open ancestors: climbing back with
            // getParentNode costs a dynamic_cast per step in this parser's DOM.
            Templates::vector<const DOMNode*> open;
            const DOMNode* at = node->getFirstChild();
            while (at != nullptr) {
                if (selected(step, at, index) && !next(at))
                    return false;
                if (const DOMNode* child = at->getFirstChild()) {
                    open.push_back(at);
                    at = child;
                    continue;
                }
                while (at->getNextSibling() == nullptr && !open.empty()) {
                    at = open.back();
                    open.pop_back();
                }
                at = at->getNextSibling();
            }
            return true;
        }
        case Step::Attribute:
            if (node->getNodeType() == DOMNode::ELEMENT_NODE) {
                if (const DOMNode* attribute =
                        static_cast<const DOMElement*>(node)->getAttributeNode(
                            step.attribute.c_str())) {
                    return next(attribute);
                }
            }
            return true;
        case Step::Text:
            for (const DOMNode* child = node->getFirstChild(); child != nullptr;
                 child = child->getNextSibling()) {
                const auto type = child->getNodeType();
                if ((type == DOMNode::TEXT_NODE || type == DOMNode::CDATA_SECTION_NODE) &&
                    !next(child))
                    return false;
            }
            return true;
        case Step::OutermostAncestor: {
            const DOMNode* outermost = nullptr;
            for (const DOMNode* up = node->getParentNode(); up != nullptr;
                 up = up->getParentNode()) {
                if (step.test.matches(up))
                    outermost = up;
            }
            return outermost == nullptr || next(outermost);
        }
    }
    return true;
}

// The steps from first on, depth first: each node a step selects is followed through the
// remaining steps before the next. That is document order as the engine gives it (only a first
// step may be a descendant step, and later steps never climb), with no repeats, and without a
// list of nodes per step.
template <class Sink>
bool visit(const std::vector<Step>& steps, std::size_t first, const DOMNode* node,
           ChildIndex& index, Sink& sink) {
    if (first + 1 == steps.size()) {
        return stepFrom(steps[first], node, index, sink);
    }
    auto deeper = [&](const DOMNode* found) { return visit(steps, first + 1, found, index, sink); };
    return stepFrom(steps[first], node, index, deeper);
}

void run(const DirectPath::Path& path, const DOMNode* context, NodeList& results,
         ChildIndex& index) {
    if (path.absolute && context->getNodeType() != DOMNode::DOCUMENT_NODE) {
        context = context->getOwnerDocument();
    }
    auto collect = [&](const DOMNode* found) {
        results.push_back(const_cast<DOMNode*>(found));
        return true;
    };
    visit(path.steps, 0, context, index, collect);
}

}  // namespace

bool ChildIndex::Selection::operator<(const Selection& other) const {
    return std::tie(parent, namespaceUri, localName, attribute) <
           std::tie(other.parent, other.namespaceUri, other.localName, other.attribute);
}

const NodeList* ChildIndex::rootChildren(const DOMNode* node) {
    if (root_ == nullptr) {
        // Every node an evaluator is given belongs to its one document.
        const xercesc::DOMDocument* document = node->getNodeType() == DOMNode::DOCUMENT_NODE
                                                   ? static_cast<const xercesc::DOMDocument*>(node)
                                                   : node->getOwnerDocument();
        root_ = document != nullptr ? document->getDocumentElement() : nullptr;
        if (root_ == nullptr)
            return nullptr;
    }
    if (node != root_)
        return nullptr;
    if (!rootListed_) {
        for (DOMNode* child = node->getFirstChild(); child != nullptr;
             child = child->getNextSibling()) {
            rootChildren_.push_back(child);
        }
        rootListed_ = true;
    }
    return &rootChildren_;
}

void ChildIndex::setRootChildren(const DOMElement* root, NodeList children) {
    root_ = root;
    rootChildren_ = std::move(children);
    rootListed_ = true;
}

const ChildIndex::Index* ChildIndex::find(const Selection& selection) const {
    const auto found = indexes_.find(selection);
    return found == indexes_.end() ? nullptr : &found->second;
}

ChildIndex::Index& ChildIndex::build(const Selection& selection) {
    return indexes_[selection];
}

DirectPath::DirectPath(std::unique_ptr<Path> path) : path_(std::move(path)) {}
DirectPath::~DirectPath() = default;

std::unique_ptr<DirectPath> DirectPath::compile(const XMLCh* query,
                                                const NamespaceResolver* resolver) {
    if (query == nullptr)
        return nullptr;
    std::unique_ptr<Path> path = Parser(query, resolver).parse();
    return path ? std::unique_ptr<DirectPath>(new DirectPath(std::move(path))) : nullptr;
}

void DirectPath::evaluate(const DOMNode* context, NodeList& results, ChildIndex& index) const {
    run(*path_, context, results, index);
}

bool DirectPath::absolute() const {
    return path_->absolute;
}

}  // namespace Velmar::SDK::XMLUtils
