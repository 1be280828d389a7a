#include "Velmar/SDK/XMLUtils/XMLFileReaderImpl.h"

#include <string>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/XMLUtils/Initializer.h"

namespace Velmar::SDK::XMLUtils {

XMLFileReaderImpl::Readied::Readied() {
    Initializer::instance();
}

XMLFileReaderImpl::XMLFileReaderImpl() {
    parsing_.configure(*parser_);
}

const xercesc::DOMDocument& XMLFileReaderImpl::read(const char* path) {
    if (path == nullptr) {
        VELMAR_SDK_THROW(Exceptions::ParseError, "Null XML file path");
    }
    const std::string given(path);
    if (isUrl(given)) {
        const std::string message = "Refusing to read \"" + given + "\": only local files are read";
        VELMAR_SDK_THROW(Exceptions::ParseError, message.c_str());
    }
    return *parsing_.parse(*parser_, given, "\"" + given + "\"");
}

}  // namespace Velmar::SDK::XMLUtils
