// Fuzzes editing and writing: the input picks one of the MXF fixtures and is a script of edits
// to its header metadata (values set from the input's texts on paths made of the file's own set
// and item names, items and sets removed, sets added, the file's RegXML document with the
// input's bytes spliced in applied). A refused edit is an expected answer. What is accepted must
// hold the writing's promises: written to a new file, the file reads back as written, or the
// write is refused for a finding the edit brought (a required item removed); its essence and
// index packets are those of the fixture, byte for byte; its RegXML applied back gives the same
// header metadata. A crash, a hang, a leak, undefined behaviour, a written file that reads
// otherwise, or any other exception is a finding.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/RegXML/RegXMLReading.h"
#include "Velmar/MXF/RegXML/RegXMLWriting.h"
#include "Velmar/MXF/Values/Encoding.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/MXF/Writing/FileWriting.h"
#include "Velmar/MXF/Writing/HeaderMetadataEditing.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace {

namespace fs = std::filesystem;
namespace MXF = Velmar::MXF;
using Bytes = std::vector<std::uint8_t>;

struct Fixture {
    fs::path path;
    Bytes bytes;
    MXF::Model::HeaderMetadata header;
    std::string regxml;
    std::vector<Bytes> packets;  // essence and index packets, in order
};

// Essence elements and index table segments, each whole, in file order.
std::vector<Bytes> essenceAndIndexPackets(const Bytes& file, std::uint64_t runIn) {
    std::vector<Bytes> packets;
    for (std::size_t at = static_cast<std::size_t>(runIn); at + 17 <= file.size();) {
        const std::uint8_t* key = &file[at];
        std::size_t length = file[at + 16];
        std::size_t lengthSize = 1;
        if (length > 0x80) {
            lengthSize += length & 0x7f;
            length = 0;
            for (std::size_t i = 1; i < lengthSize && at + 16 + i < file.size(); ++i) {
                length = length << 8 | file[at + 16 + i];
            }
        }
        const std::size_t end = std::min(file.size(), at + 16 + lengthSize + length);
        const bool essence = key[4] == 0x01 && key[8] == 0x0d && key[9] == 0x01 &&
                             key[10] == 0x03 && key[11] == 0x01;
        const bool index = key[4] == 0x02 && key[5] == 0x53 && key[13] == 0x10 && key[14] == 0x01;
        if (essence || index) {
            packets.emplace_back(file.begin() + static_cast<std::ptrdiff_t>(at),
                                 file.begin() + static_cast<std::ptrdiff_t>(end));
        }
        at = end;
    }
    return packets;
}

Bytes fileBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

const Velmar::SDK::MetaMetadata::Dictionary& dictionary() {
    static const auto* loaded = [] {
        auto* d = new Velmar::SDK::MetaMetadata::Dictionary;
        const char* path = std::getenv("VELMAR_FUZZ_DICTIONARY");
        Velmar::SDK::MetaMetadata::Loading::loadDictionaryFile(
            path != nullptr ? path : VELMAR_SAMPLE_DICTIONARY, *d);
        return d;
    }();
    return *loaded;
}

const std::vector<Fixture>& fixtures() {
    static const auto* made = [] {
        auto* list = new std::vector<Fixture>;
        for (const auto& entry : fs::directory_iterator(VELMAR_MXF_FIXTURES)) {
            if (entry.path().extension() != ".mxf") {
                continue;
            }
            Fixture f;
            f.path = entry.path();
            f.bytes = fileBytes(f.path);
            f.header = MXF::Reading::readHeaderMetadata(f.path.c_str(), dictionary());
            std::ostringstream document;
            MXF::RegXML::writeRegXML(document, f.header, dictionary());
            f.regxml = document.str();
            f.packets = essenceAndIndexPackets(f.bytes, f.header.runIn);
            list->push_back(std::move(f));
        }
        std::sort(list->begin(), list->end(),
                  [](const Fixture& a, const Fixture& b) { return a.path < b.path; });
        return list;
    }();
    return *made;
}

// The input read a little at a time.
class Script {
  public:
    Script(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    bool done() const { return at_ >= size_; }
    std::uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
    std::string text() {
        const std::size_t length = std::min<std::size_t>(byte(), size_ - at_);
        std::string out(reinterpret_cast<const char*>(data_ + at_), length);
        at_ += length;
        return out;
    }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t at_ = 0;
};

// A path made of the file's own names: a set (by name, or InstanceUID), maybe an index, maybe
// an item; now and then a text of the input instead.
std::string pathIn(const MXF::Model::HeaderMetadata& header, Script& script, bool item) {
    if (header.sets.empty() || script.byte() % 16 == 0) {
        return script.text();
    }
    const MXF::Model::LocalSet& set = header.sets[script.byte() % header.sets.size()];
    std::string path = set.instanceUID && script.byte() % 3 == 0
                           ? MXF::Values::uuidText(*set.instanceUID)
                           : set.name();
    if (script.byte() % 4 == 0) {
        path += "[" + std::to_string(script.byte() % 4) + "]";
    }
    if (item && !set.items.empty()) {
        const MXF::Model::Item& chosen = set.items[script.byte() % set.items.size()];
        path += "/" + (script.byte() % 5 == 0 ? MXF::Values::tagText(chosen.tag) : chosen.name());
    }
    return path;
}

std::string kindIn(Script& script) {
    static const char* const kinds[] = {"Identification", "Timecode",        "Sequence",
                                        "Source Clip",    "Timeline Track",  "Event Track",
                                        "DM Segment",     "Content Storage", "Material Package",
                                        "Essence Data",   "CDCI Descriptor", "Network Locator"};
    return kinds[script.byte() % (sizeof kinds / sizeof kinds[0])];
}

std::string message(const Velmar::SDK::Exceptions::BaseException& e) {
    return Velmar::SDK::Utils::toUtf8(e.message()).c_str();
}

fs::path scratch() {
    // Never destroyed: the exit handler that removes it runs after static destructors.
    static const fs::path* made = [] {
        const fs::path base =
            fs::exists("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
        auto* folder = new fs::path(base / ("edit-fuzz-" + std::to_string(::getpid())));
        fs::create_directories(*folder);
        std::atexit([] {
            std::error_code ignored;
            fs::remove_all(*made, ignored);
        });
        return folder;
    }();
    return *made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Script script(data, size);
    const auto& all = fixtures();
    const Fixture& fixture = all[script.byte() % all.size()];
    MXF::Model::HeaderMetadata header = fixture.header;
    const auto& dict = dictionary();
    for (int steps = 0; steps < 8 && !script.done(); ++steps) {
        try {
            switch (script.byte() % 5) {
                case 0:
                case 1: {
                    const std::string path = pathIn(header, script, true);
                    MXF::Writing::setItemText(header, path, script.text(), dict);
                    break;
                }
                case 2:
                    MXF::Writing::remove(header, pathIn(header, script, script.byte() % 2 == 0),
                                         dict);
                    break;
                case 3: {
                    const std::string path = pathIn(header, script, true);
                    MXF::Writing::addSet(header, path, kindIn(script), dict);
                    break;
                }
                case 4: {
                    // The file's own document, the input's bytes spliced in at a place it picks.
                    std::string document = fixture.regxml;
                    const std::size_t at =
                        (static_cast<std::size_t>(script.byte()) << 8 | script.byte()) *
                        document.size() / 65536;
                    const std::size_t cut = script.byte() % 32;
                    document.replace(at, std::min(cut, document.size() - at), script.text());
                    const fs::path path = scratch() / "doc.xml";
                    std::ofstream(path, std::ios::binary | std::ios::trunc) << document;
                    MXF::Model::HeaderMetadata applied = header;
                    MXF::RegXML::applyRegXML(applied, path.c_str(), dict);
                    header = std::move(applied);
                    break;
                }
            }
        } catch (const MXF::Writing::EditRefused&) {
        } catch (const MXF::Values::ValueRefused&) {
        } catch (const Velmar::SDK::Exceptions::BaseException&) {
            // A document that is no well-formed XML; any other exception is not caught.
        }
    }

    // Written to a new file, the edits read back as made, essence and indexes untouched.
    const fs::path out = scratch() / "out.mxf";
    MXF::Writing::WriteOptions options;
    options.output = out.string();
    try {
        MXF::Writing::writeFile(fixture.path.c_str(), header, dict, options);
    } catch (const MXF::Writing::WriteFailed& e) {
        // Only a finding the edits brought may stop the write.
        if (message(e).find("has a finding the source had not") == std::string::npos) {
            std::fprintf(stderr, "write failed: %s\n", message(e).c_str());
            std::abort();
        }
        return 0;
    } catch (const MXF::Values::ValueRefused&) {
        return 0;  // an item over 65,535 bytes, say
    }
    const Bytes written = fileBytes(out);
    const MXF::Model::HeaderMetadata read = MXF::Reading::readHeaderMetadata(out.c_str(), dict);
    if (essenceAndIndexPackets(written, read.runIn) != fixture.packets ||
        !MXF::Writing::headerMetadataDifference(header, read).empty()) {
        std::abort();
    }
    // Its RegXML applied back changes nothing.
    std::ostringstream document;
    try {
        MXF::RegXML::writeRegXML(document, read, dict);
    } catch (const MXF::Model::FileRefused&) {
        return 0;  // no Preface left to write from
    }
    const fs::path path = scratch() / "again.xml";
    std::ofstream(path, std::ios::binary | std::ios::trunc) << document.str();
    MXF::Model::HeaderMetadata again = read;
    MXF::RegXML::applyRegXML(again, path.c_str(), dict);
    const std::string difference = MXF::Writing::headerMetadataDifference(read, again);
    if (!difference.empty()) {
        std::fprintf(stderr, "RegXML applied back differs: %s\n", difference.c_str());
        std::abort();
    }
    return 0;
}
