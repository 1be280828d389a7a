#include "Velmar/SDK/XMLUtils/XMLFileReader.h"

#include "Velmar/SDK/MetaMetadata/Loading/XSDModule.h"

namespace Velmar::SDK::XMLUtils {

// The reader's work is the XML Schema module's, where the parser lives.
struct XMLFileReader::State {
    const MetaMetadata::Loading::XSDModule& module = MetaMetadata::Loading::xsdModule();
    void* reader = module.createReader();
    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { module.destroyReader(reader); }
};

XMLFileReader::XMLFileReader() : state_(new State) {}

XMLFileReader::~XMLFileReader() = default;

const xercesc::DOMDocument& XMLFileReader::read(const char* path) {
    return state_->module.read(state_->reader, path);
}

}  // namespace Velmar::SDK::XMLUtils
