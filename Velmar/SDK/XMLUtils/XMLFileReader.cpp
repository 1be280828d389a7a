#include "Velmar/SDK/XMLUtils/XMLFileReader.h"

#include <string>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/XMLUtils/Initializer.h"
#include "Velmar/SDK/XMLUtils/SchemaParser.h"
#include "Velmar/SDK/XMLUtils/XMLFileParsing.h"

namespace Velmar::SDK::XMLUtils {

struct XMLFileReader::State {
    struct Release {
        void operator()(SchemaParser* parser) const { parser->release(); }
    };
    // Declared in this order so that the parsing unhooks itself before the parser goes, and
    // the parser (with its documents) before the positions its nodes point at.
    SourcePositions positions;
    std::unique_ptr<SchemaParser, Release> parser{new SchemaParser(positions)};
    XMLFileParsing parsing{"XML file"};
};

XMLFileReader::XMLFileReader() {
    Initializer::instance();
    state_.reset(new State);
    state_->parsing.configure(*state_->parser);
}

XMLFileReader::~XMLFileReader() = default;

const xercesc::DOMDocument& XMLFileReader::read(const char* path) {
    if (path == nullptr) {
        VELMAR_SDK_THROW(Exceptions::ParseError, "Null XML file path");
    }
    const std::string given(path);
    if (isUrl(given)) {
        const std::string message = "Refusing to read \"" + given + "\": only local files are read";
        VELMAR_SDK_THROW(Exceptions::ParseError, message.c_str());
    }
    return *state_->parsing.parse(*state_->parser, given, "\"" + given + "\"");
}

}  // namespace Velmar::SDK::XMLUtils
