#include "Velmar/SDK/XMLUtils/XPathEvaluator.h"

#include "Velmar/SDK/XMLUtils/MemoryManager.h"

#include <xercesc/util/XMLString.hpp>

#include "Velmar/SDK/Utils/StringConversion.h"
#include "Velmar/SDK/XMLUtils/DirectPath.h"

#include <atomic>
#include <list>
#include <map>
#include <mutex>
#include <string>

namespace Velmar::SDK::XMLUtils {

NamespaceResolver::NamespaceResolver() = default;
NamespaceResolver::~NamespaceResolver() = default;

void NamespaceResolver::addNamespaceBinding(const XMLCh* prefix, const XMLCh* uri) {
    uris_[WString(prefix != nullptr ? prefix : u"")] = WString(uri != nullptr ? uri : u"");
}

const XMLCh* NamespaceResolver::lookupNamespaceURI(const XMLCh* prefix) const {
    const auto found = uris_.find(WString(prefix != nullptr ? prefix : u""));
    return found == uris_.end() ? nullptr : found->second.c_str();
}

XPathExpression::XPathExpression() = default;
XPathExpression::~XPathExpression() = default;

namespace {
std::atomic<XPathEvaluator::Mode> modeForNewEvaluators{XPathEvaluator::Mode::Direct};
std::mutex differencesMutex;
std::vector<std::string> differences;

std::string describe(const NodeList& nodes) {
    std::string text = std::to_string(nodes.size()) + " nodes:";
    for (const xercesc::DOMNode* node : nodes) {
        text += " " + std::string(Utils::toUtf8(node->getNodeName()).c_str());
    }
    return text;
}
}  // namespace

std::vector<std::string> XPathEvaluator::takeCheckedDifferences() {
    std::lock_guard<std::mutex> lock(differencesMutex);
    return std::exchange(differences, {});
}

void XPathEvaluator::setDefaultMode(Mode mode) {
    modeForNewEvaluators = mode;
}
XPathEvaluator::Mode XPathEvaluator::defaultMode() {
    return modeForNewEvaluators;
}

XPathEvaluator::XPathEvaluator(const xercesc::DOMDocument& document, Mode mode)
    : document_(document), mode_(mode), index_(std::make_unique<ChildIndex>()) {}

void XPathEvaluator::setRootChildren(NodeList children) {
    index_->setRootChildren(document_.getDocumentElement(), std::move(children));
}

XPathEvaluator::~XPathEvaluator() {
    // Expressions compiled by the engine refer to its string pools.
    expressions_.clear();
}

XPathEngine::View& XPathEvaluator::engine() {
    if (!engine_) {
        XPathEngine& loaded = XPathEngine::instance();
        EngineMemoryManager::raiseIfExhausted();
        engine_ = loaded.open(document_);
        EngineMemoryManager::raiseIfExhausted();
    }
    return *engine_;
}

NamespaceResolver* XPathEvaluator::createNSResolver() {
    return &resolvers_.emplace_back();
}

const XPathExpression& XPathEvaluator::createExpression(const XMLCh* query,
                                                        const NamespaceResolver* resolver) {
    if (query != nullptr) {
        const auto known = byAddress_.find(query);
        if (known != byAddress_.end() && known->second.first == resolver &&
            xercesc::XMLString::equals(known->second.second->text_.c_str(), query)) {
            return *known->second.second;
        }
    }
    WString text(query != nullptr ? query : u"");
    auto& cache = expressions_[resolver];
    auto& slot = cache[text];
    if (slot) {
        if (query != nullptr) {
            byAddress_[query] = {resolver, slot.get()};
        }
        return *slot;
    }
    auto expression = std::unique_ptr<XPathExpression>(new XPathExpression);
    expression->text_ = text;
    if (mode_ != Mode::EngineOnly) {
        expression->direct_ = DirectPath::compile(text.c_str(), resolver);
    }
    if (!expression->direct_ || mode_ != Mode::Direct) {
        XPathEngine::Bindings bindings;
        if (resolver != nullptr) {
            for (const auto& [prefix, uri] : resolver->uris_) {
                bindings.emplace_back(std::u16string(prefix.begin(), prefix.end()),
                                      std::u16string(uri.begin(), uri.end()));
            }
        }
        try {
            expression->engine_ = engine().compile(text.c_str(), bindings);
            EngineMemoryManager::raiseIfExhausted();
        } catch (...) {
            cache.erase(text);
            throw;
        }
    }
    slot = std::move(expression);
    if (query != nullptr) {
        byAddress_[query] = {resolver, slot.get()};
    }
    return *slot;
}

void XPathEvaluator::evaluateWithEngine(const XPathExpression& expression,
                                        const xercesc::DOMNode* context, NodeList& results) {
    std::vector<const xercesc::DOMNode*> nodes;
    engine().select(*expression.engine_, context, nodes);
    EngineMemoryManager::raiseIfExhausted();
    for (const xercesc::DOMNode* node : nodes) {
        results.push_back(const_cast<xercesc::DOMNode*>(node));
    }
}

void XPathEvaluator::evaluate(const XPathExpression& expression, const xercesc::DOMNode* context,
                              NodeList& results) {
    if (!expression.direct_) {
        evaluateWithEngine(expression, context, results);
        return;
    }
    NodeList direct;
    if (expression.direct_->absolute() && expression.absoluteResult_) {
        direct = *expression.absoluteResult_;
    } else {
        expression.direct_->evaluate(context != nullptr ? context : &document_, direct, *index_);
        if (expression.direct_->absolute()) {
            expression.absoluteResult_ = std::make_unique<NodeList>(direct);
        }
    }
    if (mode_ == Mode::Checked) {
        NodeList engine;
        evaluateWithEngine(expression, context, engine);
        if (engine != direct) {
            std::lock_guard<std::mutex> lock(differencesMutex);
            differences.push_back(
                "\"" + std::string(Utils::toUtf8(expression.text_.c_str()).c_str()) +
                "\": direct " + describe(direct) + ", engine " + describe(engine));
        }
        direct.swap(engine);
    }
    results.insert(results.end(), direct.begin(), direct.end());
}

}  // namespace Velmar::SDK::XMLUtils
