#include "Velmar/SDK/XMLUtils/XMLFileParsing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <vector>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::SDK::XMLUtils {

namespace {

namespace fs = std::filesystem;
using xercesc::XMLUni;

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

// An open file that the parser reads as it goes, without a copy of the whole file. The path
// goes to the operating system as the bytes given.
class OpenFile {
  public:
    OpenFile(const fs::path& path, const std::string& kind, const std::string& where) {
        struct stat status {};
        if (::stat(path.c_str(), &status) != 0) {
            fail("Cannot read " + kind + " " + where + ": " + std::strerror(errno));
        }
        if (S_ISDIR(status.st_mode)) {
            fail("Cannot read " + kind + " " + where + ": it is a directory");
        }
        if (!S_ISREG(status.st_mode)) {
            fail("Cannot read " + kind + " " + where + ": not a regular file");
        }
        descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor_ < 0) {
            fail("Cannot read " + kind + " " + where + ": " + std::strerror(errno));
        }
    }
    ~OpenFile() { ::close(descriptor_); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    int descriptor() const { return descriptor_; }
    // Set when a read failed; the parser then saw the end of the file.
    bool failed = false;
    int error = 0;

  private:
    int descriptor_ = -1;
};

class FileStream : public xercesc::BinInputStream {
  public:
    explicit FileStream(OpenFile& file) : file_(file) {}
    XMLFilePos curPos() const override { return position_; }
    XMLSize_t readBytes(XMLByte* const toFill, const XMLSize_t maxToRead) override {
        for (;;) {
            const ssize_t count = ::read(file_.descriptor(), toFill, maxToRead);
            if (count >= 0) {
                position_ += static_cast<XMLFilePos>(count);
                return static_cast<XMLSize_t>(count);
            }
            if (errno != EINTR) {
                file_.failed = true;
                file_.error = errno;
                return 0;
            }
        }
    }
    const XMLCh* getContentType() const override { return nullptr; }

  private:
    OpenFile& file_;
    XMLFilePos position_ = 0;
};

class FileSource : public xercesc::InputSource {
  public:
    FileSource(OpenFile& file, const XMLCh* systemId, xercesc::MemoryManager* memory)
        : InputSource(systemId, memory), file_(file) {}
    xercesc::BinInputStream* makeStream() const override {
        return new (getMemoryManager()) FileStream(file_);
    }

  private:
    OpenFile& file_;
};

}  // namespace

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

void XMLFileParsing::ErrorCollector::reset() {
    failed = false;
    message.clear();
    line = column = 0;
}

bool XMLFileParsing::ErrorCollector::handleError(const xercesc::DOMError& error) {
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

xercesc::DOMLSInput* XMLFileParsing::RefusingResolver::resolveResource(const XMLCh*, const XMLCh*,
                                                                       const XMLCh*,
                                                                       const XMLCh* systemId,
                                                                       const XMLCh*) {
    if (refused.empty()) {
        refused = narrow(systemId);
    }
    static const XMLByte kNothing[] = {0};
    return new xercesc::Wrapper4InputSource(
        new xercesc::MemBufInputSource(kNothing, 0, systemId, false), true);
}

XMLFileParsing::XMLFileParsing(std::string kind) : kind_(std::move(kind)) {
    security_.setEntityExpansionLimit(kEntityExpansionLimit);
}

XMLFileParsing::~XMLFileParsing() {
    for (SchemaParser* parser : configured_) {
        // A parse that ended in exhausted memory leaves the parser marked as parsing, and it
        // then refuses every setting with an exception: such a parser is never used again (a
        // loader loads once), so the settings may stay, and nothing may leave a destructor.
        try {
            xercesc::DOMConfiguration* config = parser->getDomConfig();
            config->setParameter(XMLUni::fgDOMErrorHandler,
                                 static_cast<xercesc::DOMErrorHandler*>(nullptr));
            config->setParameter(XMLUni::fgDOMResourceResolver,
                                 static_cast<xercesc::DOMLSResourceResolver*>(nullptr));
            config->setParameter(XMLUni::fgXercesSecurityManager,
                                 static_cast<xercesc::SecurityManager*>(nullptr));
        } catch (...) {
        }
    }
}

void XMLFileParsing::configure(SchemaParser& parser) {
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
    configured_.push_back(&parser);
}

xercesc::DOMDocument* XMLFileParsing::parse(SchemaParser& parser, const fs::path& path,
                                            const std::string& where) {
    OpenFile file(path, kind_, where);
    const WString systemId = Utils::stringToWstring(path.c_str());
    // The stream the parser makes from the source comes from the parser's arena, so that a
    // parse ended by exhausted memory cannot leave it behind.
    FileSource source(file, systemId.c_str(), parser.memory());
    xercesc::Wrapper4InputSource input(&source, false, parser.memory());
    errors_.reset();
    resolver_.refused.clear();
    xercesc::DOMDocument* document = nullptr;
    std::string thrown;
    parser.setFile(parser.positions().addFile(path.string()));
    try {
        document = parser.parse(&input);
    } catch (const ParserLimit& e) {
        fail("Cannot parse " + kind_ + " " + where + " at line " + std::to_string(e.line) + ": " +
             e.what);
    } catch (const xercesc::XMLException& e) {
        thrown = narrow(e.getMessage());
    } catch (const xercesc::DOMException& e) {
        thrown = narrow(e.getMessage());
    }
    if (file.failed) {  // what the parser made of a file cut short is not the file's fault
        fail("Cannot read " + kind_ + " " + where + ": " + std::strerror(file.error));
    }
    if (errors_.failed) {
        fail("Cannot parse " + kind_ + " " + where + " at line " + std::to_string(errors_.line) +
             ", column " + std::to_string(errors_.column) + ": " + errors_.message);
    }
    if (!thrown.empty()) {
        fail("Cannot parse " + kind_ + " " + where + ": " + thrown);
    }
    if (!resolver_.refused.empty()) {
        fail("Cannot parse " + kind_ + " " + where + ": it refers to the external resource \"" +
             resolver_.refused + "\", and external resources are never loaded");
    }
    const xercesc::DOMElement* root =
        document != nullptr ? document->getDocumentElement() : nullptr;
    if (root == nullptr) {
        fail("Cannot parse " + kind_ + " " + where + ": no root element");
    }
    return document;
}

}  // namespace Velmar::SDK::XMLUtils
