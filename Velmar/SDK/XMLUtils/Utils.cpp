#include "Velmar/SDK/XMLUtils/Utils.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <typeinfo>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/UTFDataFormatException.hpp>
#include <xercesc/util/XMLException.hpp>

#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "Velmar/SDK/XMLUtils/XPathEngine.h"

namespace Velmar::SDK::XMLUtils {

namespace {

using WStringStream =
    std::basic_ostringstream<XMLCh, std::char_traits<XMLCh>, Platform::Allocator<XMLCh>>;

// The readable form of a class name: "class " and the name qualified by the library's
// versioned namespace, whatever the compiler's own spelling.
template <class T>
WString readableTypeName() {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(typeid(T).name(), nullptr, nullptr, &status), std::free);
    return Utils::stringToWstring(
        (std::string("class ") + (status == 0 ? name.get() : typeid(T).name())).c_str());
}

template <class T>
WString describeXercesException(const T& e) {
    WStringStream text;
    text << readableTypeName<T>() << u": " << (e.getMessage() != nullptr ? e.getMessage() : u"");
    return WString(text.str().c_str());
}

template <class T>
[[noreturn]] void throwDescribed(const T& e, const char* file, int line) {
    WStringStream text;
    text << describeException(e);
    throw Exceptions::ParseError(WString(text.str().c_str()).c_str(), file, line);
}

}  // namespace

WString describeException(const xercesc::DOMException& e) {
    WStringStream text;
    text << u"DOMException:: " << (e.getMessage() != nullptr ? e.getMessage() : u"") << u"("
         << Utils::stringToWstring(std::to_string(static_cast<int>(e.code)).c_str()) << u")";
    return WString(text.str().c_str());
}
WString describeException(const xercesc::UTFDataFormatException& e) {
    return describeXercesException(e);
}
WString describeException(const xercesc::SAXException& e) {
    return describeXercesException(e);
}
WString describeException(const xercesc::XMLException& e) {
    return describeXercesException(e);
}

void throwParseError(const xercesc::DOMException& e) {
    throwDescribed(e, __FILE__, __LINE__);
}
void throwParseError(const xercesc::UTFDataFormatException& e) {
    throwDescribed(e, __FILE__, __LINE__);
}
void throwParseError(const xercesc::SAXException& e) {
    throwDescribed(e, __FILE__, __LINE__);
}
void throwParseError(const xercesc::XMLException& e) {
    throwDescribed(e, __FILE__, __LINE__);
}

void translateCurrentException(const char* sourceFile, int sourceLine) {
    // Derived classes before their bases.
    try {
        throw;
    } catch (const xercesc::DOMException& e) {
        throwParseError(e);
    } catch (const xercesc::UTFDataFormatException& e) {
        throwParseError(e);
    } catch (const xercesc::SAXException& e) {
        throwParseError(e);
    } catch (const xercesc::XMLException& e) {
        throwParseError(e);
    } catch (const Exceptions::BaseException&) {
        throw;
    } catch (const xercesc::OutOfMemoryException&) {
        throw Exceptions::ParseError("OutOfMemoryException:: the XML parser ran out of memory",
                                     sourceFile, sourceLine);
    } catch (...) {
        // Only a loaded engine can have thrown one of its own.
        std::u16string text;
        if (XPathEngine* engine = XPathEngine::loaded();
            engine != nullptr && engine->describeCurrentException(text)) {
            throw Exceptions::ParseError(WString(text.c_str()).c_str(), __FILE__, __LINE__);
        }
        throw Exceptions::ParseError("Unknown error in Xerces or XQilla", sourceFile, sourceLine);
    }
}

}  // namespace Velmar::SDK::XMLUtils
