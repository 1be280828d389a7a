#include "support/RegisterDictionary.h"

#include <fstream>
#include <memory>

#include "support/TestSupport.h"

namespace testing_support {

std::filesystem::path registersFolder() {
    return VELMAR_REGISTERS_DIR;
}

const xsddict::Registers* registers() {
    static const std::unique_ptr<xsddict::Registers> read =
        std::filesystem::exists(registersFolder() / "Elements.xml")
            ? std::make_unique<xsddict::Registers>(
                  xsddict::readRegisters(registersFolder().string()))
            : nullptr;
    return read.get();
}

std::filesystem::path registerDictionary(xsddict::ImportReport* report) {
    static TempDir folder;
    static xsddict::ImportReport made;
    static std::filesystem::path file;
    if (file.empty() && registers() != nullptr) {
        file = folder.path() / "registers.xsd";
        std::ofstream out(file);
        made = xsddict::writeDictionary(*registers(), out);
    }
    if (report != nullptr) {
        *report = made;
    }
    return file;
}

}  // namespace testing_support
