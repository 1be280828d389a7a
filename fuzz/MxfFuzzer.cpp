// Fuzzes the MXF reader and what writes what it reads: the input is a file, read through the
// register dictionary named by VELMAR_FUZZ_DICTIONARY (whose registered types decode every
// value; the sample dictionary, which has none, when unset), once as a plain read and once
// walking every KLV, and what is read is written as RegXML, as JSON and as a report page (a
// refused file's page too), which must be valid UTF-8 whatever the file's text bytes, and its
// header metadata written back, which must read again without a refusal. A refusal is an
// expected answer; a crash, a hang, a leak, undefined behaviour, an allocation the input's
// size does not justify, output that is not UTF-8, or any other exception is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>

#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/RegXML/RegXMLWriting.h"
#include "Velmar/MXF/Report/Json.h"
#include "Velmar/MXF/Report/Report.h"
#include "Velmar/MXF/Values/Encoding.h"
#include "Velmar/MXF/Writing/HeaderMetadataWriting.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"

namespace {

bool validUtf8(const std::string& text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80                    ? 1
                                   : lead >= 0xc2 && lead <= 0xdf ? 2
                                   : lead >= 0xe0 && lead <= 0xef ? 3
                                   : lead >= 0xf0 && lead <= 0xf4 ? 4
                                                                  : 0;
        if (length == 0 || text.size() - i < length) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            if ((static_cast<unsigned char>(text[i + k]) & 0xc0) != 0x80) {
                return false;
            }
        }
        i += length;
    }
    return true;
}

// The header metadata written back, alone in a closed complete header partition, is read
// again without a refusal: what the writer lays out is always readable.
void writtenReadsBack(const Velmar::MXF::Model::HeaderMetadata& header,
                      const Velmar::SDK::MetaMetadata::Dictionary& dictionary) {
    std::vector<std::uint8_t> written;
    try {
        written = Velmar::MXF::Writing::writeHeaderMetadata(header, dictionary);
    } catch (const Velmar::MXF::Values::ValueRefused&) {
        return;
    }
    auto be = [](std::vector<std::uint8_t>& out, std::uint64_t value, int size) {
        for (int i = size - 1; i >= 0; --i) {
            out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
    };
    std::vector<std::uint8_t> file = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x05, 0x01, 0x01, 0x0d,
                                      0x01, 0x02, 0x01, 0x01, 0x02, 0x04, 0x00, 0x58};
    be(file, 1, 2);  // version 1.3, KAG 1; this, previous and footer partitions 0
    be(file, 3, 2);
    be(file, 1, 4);
    file.insert(file.end(), 24, 0);
    be(file, written.size(), 8);     // header byte count
    file.insert(file.end(), 24, 0);  // index byte count, IndexSID, body offset, BodySID: none
    file.resize(file.size() + 16, 0x06);
    be(file, 0, 4);
    be(file, 16, 4);
    file.insert(file.end(), written.begin(), written.end());
    try {
        Velmar::MXF::Reading::readHeaderMetadata(file.data(), file.size(), dictionary);
    } catch (const Velmar::MXF::Model::FileRefused&) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Velmar::SDK::MetaMetadata::Dictionary* dictionary = [] {
        auto* loaded = new Velmar::SDK::MetaMetadata::Dictionary;
        const char* path = std::getenv("VELMAR_FUZZ_DICTIONARY");
        Velmar::SDK::MetaMetadata::Loading::loadDictionaryFile(
            path != nullptr ? path : VELMAR_SAMPLE_DICTIONARY, *loaded);
        return loaded;
    }();
    for (const bool walk : {false, true}) {
        try {
            const Velmar::MXF::Model::HeaderMetadata header =
                Velmar::MXF::Reading::readHeaderMetadata(data, size, *dictionary, {walk});
            if (!walk) {
                std::ostringstream document;
                Velmar::MXF::RegXML::writeRegXML(document, header, *dictionary);
                writtenReadsBack(header, *dictionary);
            }
            std::ostringstream json;
            Velmar::MXF::Report::writeJson(json, "fuzz.mxf", header,
                                           Velmar::MXF::Report::JsonLayout::OneLine);
            if (!validUtf8(json.str())) {
                std::abort();
            }
            if (walk) {
                std::ostringstream page;
                Velmar::MXF::Report::writePage(page, "fuzz.mxf", header, dictionary);
                if (!validUtf8(page.str())) {
                    std::abort();
                }
            }
        } catch (const Velmar::MXF::Model::FileRefused& refusal) {
            std::ostringstream page;
            Velmar::MXF::Report::writeRefusedPage(page, "fuzz.mxf", size, refusal);
            if (!validUtf8(page.str())) {
                std::abort();
            }
        }
    }
    return 0;
}
