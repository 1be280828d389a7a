// The extension module under the xsddict package: dictionaries, reading, and the reading's
// values as Python objects. It uses the installed interface of the two libraries only. Reading
// runs without the GIL; what it gives back is turned into Python objects with it.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <sstream>
#include <string>

#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/RegXML/RegXMLReading.h"
#include "Velmar/MXF/RegXML/RegXMLWriting.h"
#include "Velmar/MXF/Report/Json.h"
#include "Velmar/MXF/Report/Report.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/MXF/Writing/FileWriting.h"
#include "Velmar/MXF/Writing/HeaderMetadataEditing.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace py = pybind11;
namespace MXF = Velmar::MXF;
namespace MM = Velmar::SDK::MetaMetadata;
namespace Id = Velmar::SDK::Types::Identifiers;
namespace Utils = Velmar::SDK::Utils;

namespace {

// Raised here, turned into the package's exceptions by the translator below.
struct DictionaryFailure {
    std::string message;
};

std::string utf8(const XMLCh* text) {
    if (text == nullptr) {
        return {};
    }
    const auto converted = Utils::toUtf8(text);
    return std::string(converted.data(), converted.size());
}

// The package's classes and the standard ones values are made of, looked up once. Kept to the
// process's end: the interpreter may be gone when static destructors run.
struct Classes {
    py::object label, element, attribute, setDefinition, partition, set, item, finding;
    py::object uuid, safeUnknown, datetime, utc, fraction;
    py::object error, fileRefused, dictionaryError, noRoom;
};

const Classes& classes() {
    static Classes* made = [] {
        auto* c = new Classes;
        const py::module_ package = py::module_::import("xsddict");
        c->label = package.attr("Label");
        c->element = package.attr("Element");
        c->attribute = package.attr("Attribute");
        c->setDefinition = package.attr("SetDefinition");
        c->partition = package.attr("Partition");
        c->set = package.attr("Set");
        c->item = package.attr("Item");
        c->finding = package.attr("Finding");
        c->error = package.attr("Error");
        c->fileRefused = package.attr("FileRefused");
        c->dictionaryError = package.attr("DictionaryError");
        c->noRoom = package.attr("NoRoom");
        const py::module_ uuid = py::module_::import("uuid");
        c->uuid = uuid.attr("UUID");
        c->safeUnknown = uuid.attr("SafeUUID").attr("unknown");
        const py::module_ datetime = py::module_::import("datetime");
        c->datetime = datetime.attr("datetime");
        c->utc = datetime.attr("timezone").attr("utc");
        c->fraction = py::module_::import("fractions").attr("Fraction");
        return c;
    }();
    return *made;
}

// A uuid.UUID made without parsing text: its slots set as UUID.__init__ would set them.
py::object makeUuid(const std::string& hexDigits) {
    const Classes& c = classes();
    py::object made = c.uuid.attr("__new__")(c.uuid);
    const py::object value =
        py::reinterpret_steal<py::object>(PyLong_FromString(hexDigits.c_str(), nullptr, 16));
    if (!value || PyObject_GenericSetAttr(made.ptr(), py::str("int").ptr(), value.ptr()) != 0 ||
        PyObject_GenericSetAttr(made.ptr(), py::str("is_safe").ptr(), c.safeUnknown.ptr()) != 0) {
        throw py::error_already_set();
    }
    return made;
}

// "YYYY-MM-DDThh:mm:ss.mmm" as an aware UTC datetime; None for a text that names no moment
// (the zero timestamp writers leave).
py::object makeTimestamp(const std::string& text) {
    unsigned y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0, ms = 0;
    if (std::sscanf(text.c_str(), "%4u-%2u-%2uT%2u:%2u:%2u.%3u", &y, &mo, &d, &h, &mi, &s, &ms) !=
            7 ||
        y == 0 || mo == 0 || mo > 12 || d == 0 || d > 31 || h > 23 || mi > 59 || s > 59) {
        return py::none();
    }
    try {
        return classes().datetime(y, mo, d, h, mi, s, ms * 1000, py::arg("tzinfo") = classes().utc);
    } catch (const py::error_already_set&) {
        return py::none();  // a day the month does not have
    }
}

py::bytes bytesOf(const std::uint8_t* data, std::size_t size) {
    return py::bytes(reinterpret_cast<const char*>(data), size);
}

MM::LabelBytes labelOf(const py::bytes& given) {
    const std::string bytes = given;
    if (bytes.size() != 16) {
        throw py::value_error("a label is 16 bytes, not " + std::to_string(bytes.size()));
    }
    MM::LabelBytes label;
    std::copy(bytes.begin(), bytes.end(), label.begin());
    return label;
}

class Dictionary {
  public:
    Dictionary() : dictionary_(std::make_shared<MM::Dictionary>()) {}

    static std::shared_ptr<Dictionary> load(const std::string& path) {
        auto loaded = std::make_shared<Dictionary>();
        {
            py::gil_scoped_release released;
            try {
                MM::Loading::loadDictionaryFile(path.c_str(), *loaded->dictionary_);
            } catch (const Velmar::SDK::Exceptions::BaseException& e) {
                throw DictionaryFailure{path + ": " + utf8(e.message())};
            }
        }
        return loaded;
    }

    // Several, stacked in order ("+" before a path keeps the built-in one underneath); the
    // clashes are kept for the package to show.
    static std::shared_ptr<Dictionary> stacked(const std::vector<std::string>& paths) {
        auto loaded = std::make_shared<Dictionary>();
        {
            py::gil_scoped_release released;
            try {
                loaded->clashes_ =
                    MM::Loading::loadStackedDictionaries(paths, *loaded->dictionary_);
            } catch (const Velmar::SDK::Exceptions::BaseException& e) {
                throw DictionaryFailure{"the dictionaries given: " + utf8(e.message())};
            }
        }
        return loaded;
    }

    const std::vector<std::string>& clashes() const { return clashes_; }

    // Loaded once per process, on first use.
    static std::shared_ptr<Dictionary> builtin() {
        static std::once_flag once;
        static std::shared_ptr<Dictionary> loaded;
        static std::string failure;
        {
            py::gil_scoped_release released;
            std::call_once(once, [] {
                auto made = std::make_shared<Dictionary>();
                try {
                    MM::Loading::loadBuiltinDictionary(*made->dictionary_);
                    loaded = made;
                } catch (const Velmar::SDK::Exceptions::BaseException& e) {
                    failure = "the built-in dictionary: " + utf8(e.message());
                }
            });
        }
        if (!loaded) {
            throw DictionaryFailure{failure};
        }
        return loaded;
    }

    const MM::Dictionary& get() const { return *dictionary_; }
    std::shared_ptr<const MM::Dictionary> shared() const { return dictionary_; }

    py::object element(const py::bytes& label) const {
        const Velmar::SDK::Types::UniversalLabel ul(labelOf(label).data());
        return describe(dictionary_->findMetaElement(ul));
    }
    py::object elementByTag(unsigned tag) const {
        if (tag == 0 || tag > 0xffff) {
            throw py::value_error("a local tag is 1 to 0xffff");
        }
        return describe(dictionary_->metaElementByLocalTag(
            Velmar::SDK::Types::LocalTag(static_cast<unsigned short>(tag))));
    }
    py::object elementByName(const std::string& name) const {
        const Velmar::SDK::WString wide = Utils::stringToWstring(name.c_str());
        const MM::MetaElement* found = dictionary_->metaElementByTagName(wide.c_str());
        return describe(found != nullptr ? found : dictionary_->metaElementByName(wide.c_str()));
    }
    py::object set(const py::bytes& key) const {
        const Velmar::SDK::KLV::Key k(labelOf(key).data());
        return describe(dictionary_->findMetaMetadataSet(k));
    }
    py::object setByName(const std::string& name) const {
        const Velmar::SDK::WString wide = Utils::stringToWstring(name.c_str());
        const MM::MetaMetadataSet* found = dictionary_->metaMetadataSetByTagName(wide.c_str());
        return describe(found != nullptr ? found
                                         : dictionary_->metaMetadataSetByName(wide.c_str()));
    }
    py::object label(const py::bytes& label) const {
        const MM::LabelDefinition* found = dictionary_->typeDefinitions().label(labelOf(label));
        if (found == nullptr) {
            return py::none();
        }
        return classes().label(MXF::Values::dottedHex(found->label.data(), 16),
                               std::string(found->symbol), std::string(found->name));
    }
    py::tuple counts() const {
        return py::make_tuple(dictionary_->metaElementCount(), dictionary_->metaMetadataSetCount(),
                              dictionary_->typeDefinitions().types().size(),
                              dictionary_->typeDefinitions().labels().size());
    }

  private:
    static py::dict properties(const MM::PropertyMap& map) {
        py::dict out;
        for (std::size_t i = 0; i < map.propertyCount(); ++i) {
            out[py::str(utf8(map.propertyName(i).c_str()))] = utf8(map.propertyValue(i).c_str());
        }
        return out;
    }

    static py::object identifierName(Id::Identifier identifier) {
        const char* name = Id::identifierToString(identifier);
        return name != nullptr ? py::object(py::str(name)) : py::object(py::none());
    }

    std::string symbolOf(const MM::PropertyMap& map, const unsigned char* label) const {
        MM::LabelBytes bytes;
        std::copy(label, label + 16, bytes.begin());
        const std::string_view registered = dictionary_->typeDefinitions().registeredSymbol(bytes);
        return registered.empty() ? utf8(map.getProperty(u"XMLTagName")) : std::string(registered);
    }

    py::object describe(const MM::MetaElement* element) const {
        if (element == nullptr) {
            return py::none();
        }
        const unsigned char* label = element->universalLabel().bytes();
        const Velmar::SDK::Types::LocalTag* tag = dictionary_->localTag(element->universalLabel());
        MM::Visitors::GetMetaElementVisitor<MM::MetaCollectionElement> collection;
        element->accept(collection);
        MM::Visitors::GetMetaElementVisitor<MM::MetaReferenceHolder> reference;
        element->accept(reference);
        py::list targets;
        if (reference.result() != nullptr) {
            for (const auto& key : reference.result()->targetSets()) {
                targets.append(MXF::Values::dottedHex(key.bytes(), 16));
            }
        }
        const MM::TypeDefinition* type = dictionary_->typeOf(*element);
        return classes().element(
            bytesOf(label, 16), MXF::Values::dottedHex(label, 16),
            utf8(element->getProperty(u"name")), symbolOf(*element, label),
            identifierName(element->dataType()),
            collection.result() != nullptr ? identifierName(collection.result()->dataSubType())
                                           : py::object(py::none()),
            tag != nullptr ? py::object(py::int_(tag->value())) : py::object(py::none()),
            type != nullptr ? py::object(py::str(std::string(type->symbol)))
                            : py::object(py::none()),
            targets, properties(*element));
    }

    py::object describe(const MM::MetaMetadataSet* set) const {
        if (set == nullptr) {
            return py::none();
        }
        py::list attributes;
        for (const MM::MetaAttribute& attribute : set->attributes()) {
            const MM::MetaElement& element = attribute.metaElement();
            attributes.append(classes().attribute(
                utf8(element.getProperty(u"name")),
                symbolOf(element, element.universalLabel().bytes()),
                MXF::Values::dottedHex(element.universalLabel().bytes(), 16),
                attribute.requiredStatus() == MM::AttributeRequiredStatus::Required,
                attribute.localTag() != nullptr
                    ? py::object(py::int_(attribute.localTag()->value()))
                    : py::object(py::none())));
        }
        return classes().setDefinition(
            bytesOf(set->key().bytes(), 16), MXF::Values::dottedHex(set->key().bytes(), 16),
            utf8(set->getProperty(u"name")), symbolOf(*set, set->key().bytes()), attributes,
            properties(*set));
    }

    std::shared_ptr<MM::Dictionary> dictionary_;
    std::vector<std::string> clashes_;
};

// A read file: the reader's result, and the dictionary its items point into.
class Reading {
  public:
    Reading(std::string path, std::shared_ptr<const MM::Dictionary> dictionary,
            MXF::Model::HeaderMetadata header)
        : path_(std::move(path)), dictionary_(std::move(dictionary)), header_(std::move(header)) {}

    std::string toJson() const {
        std::ostringstream out;
        MXF::Report::writeJson(out, path_, header_);
        return out.str();
    }

    // As xsddict regxml writes it: by default of the copy read (the first closed complete one);
    // the file is read again for another partition's.
    std::string toRegXML(const py::object& root, const std::string& partition) const {
        const auto metadata = MXF::Reading::metadataPartitionNamed(partition);
        if (!metadata) {
            throw py::value_error("partition is header, footer, body or auto, not " + partition);
        }
        MXF::Reading::ReadOptions reading;
        reading.metadata = *metadata;
        MXF::RegXML::RegXMLOptions options;
        if (!root.is_none()) {
            const MM::LabelBytes id = labelOf(root);
            options.root.emplace();
            std::copy(id.begin(), id.end(), options.root->begin());
        }
        std::ostringstream out;
        {
            py::gil_scoped_release released;
            if (partition == "auto") {
                MXF::RegXML::writeRegXML(out, header_, *dictionary_, options);
            } else {
                const MXF::Model::HeaderMetadata again =
                    MXF::Reading::readHeaderMetadata(path_.c_str(), *dictionary_, reading);
                MXF::RegXML::writeRegXML(out, again, *dictionary_, options);
            }
        }
        return out.str();
    }

    // Edits, as xsddict set makes them: each changes this reading's header metadata, which
    // write() puts into a file.
    std::size_t setItem(const std::string& path, const std::string& text) {
        return MXF::Writing::setItemText(header_, path, text, *dictionary_);
    }
    std::size_t remove(const std::string& path) {
        return MXF::Writing::remove(header_, path, *dictionary_);
    }
    py::object addSet(const std::string& path, const std::string& kind) {
        const std::size_t at = MXF::Writing::addSet(header_, path, kind, *dictionary_);
        return optionalUuid(header_.sets[at].instanceUID);
    }
    void apply(const std::string& documentPath) {
        MXF::RegXML::applyRegXML(header_, documentPath.c_str(), *dictionary_);
    }

    // Into the file read (in place) or a new one; what was written, as a dict.
    py::dict write(const std::string& output) const {
        MXF::Writing::WriteOptions options;
        options.output = output;
        MXF::Writing::WriteReport report;
        {
            py::gil_scoped_release released;
            report = MXF::Writing::writeFile(path_.c_str(), header_, *dictionary_, options);
        }
        py::dict out;
        out["partitions"] = report.partitions;
        out["metadata_bytes"] = report.metadataBytes;
        out["bytes_written"] = report.bytesWritten;
        out["moved"] = report.moved;
        return out;
    }

    // The page xsddict report writes for the file.
    std::string toHtml() const {
        std::ostringstream out;
        {
            py::gil_scoped_release released;
            MXF::Report::writePage(out, path_, header_, dictionary_.get());
        }
        return out.str();
    }

    // The items of set `index`, made when a program first asks for them.
    py::list items(std::size_t index) const {
        if (index >= header_.sets.size()) {
            throw py::index_error("no set " + std::to_string(index));
        }
        py::list items;
        for (const MXF::Model::Item& item : header_.sets[index].items) {
            items.append(this->item(item));
        }
        return items;
    }

    // Everything read but the sets' items, as Python objects of the package; `self` is this
    // reading's own Python object, which each set keeps for its items.
    py::dict data(const py::object& self) const {
        py::dict out;
        out["file"] = path_;
        out["size"] = header_.fileSize;
        out["run_in"] = header_.runIn;
        py::list partitions;
        for (const MXF::Model::Partition& p : header_.partitions) {
            py::list containers;
            for (const auto& c : p.essenceContainers) {
                containers.append(label(c.data()));
            }
            partitions.append(classes().partition(
                p.offset, p.kindName(), p.statusName(),
                std::to_string(p.majorVersion) + "." + std::to_string(p.minorVersion), p.kagSize,
                p.thisPartition, p.previousPartition, p.footerPartition, p.headerByteCount,
                p.indexByteCount, p.indexSID, p.bodyOffset, p.bodySID,
                label(p.operationalPattern.data()), containers));
        }
        out["partitions"] = partitions;
        py::list sets;
        for (std::size_t i = 0; i < header_.sets.size(); ++i) {
            const MXF::Model::LocalSet& set = header_.sets[i];
            sets.append(classes().set(set.offset, MXF::Values::dottedHex(set.key.data(), 16),
                                      set.name(), optionalUuid(set.instanceUID), set.depth,
                                      optionalUuid(set.parent), self, i));
        }
        out["sets"] = sets;
        py::list findings;
        for (const MXF::Model::Finding& f : header_.findings) {
            findings.append(classes().finding(
                f.rule, f.setOffset ? py::object(py::int_(*f.setOffset)) : py::object(py::none()),
                f.setName.empty() ? py::object(py::none()) : py::object(py::str(f.setName)),
                f.tag ? py::object(py::int_(*f.tag)) : py::object(py::none()),
                f.itemName.empty() ? py::object(py::none()) : py::object(py::str(f.itemName)),
                f.message, MXF::Model::severityName(f.severity)));
        }
        out["findings"] = findings;
        if (header_.walk) {
            py::dict walk;
            walk["klvs"] = header_.walk->klvs;
            walk["essence_elements"] = header_.walk->essenceElements;
            walk["essence_bytes"] = header_.walk->essenceBytes;
            walk["index_segments"] = header_.walk->indexSegments.size();
            walk["essence_track_numbers"] = header_.walk->essenceTrackNumbers;
            walk["encrypted_elements"] = header_.walk->encryptedElements;
            walk["generic_stream_packets"] = header_.walk->genericStreamPackets;
            walk["generic_stream_bytes"] = header_.walk->genericStreamBytes;
            py::list regions;
            for (const MXF::Model::Region& r : header_.walk->regions) {
                py::dict region;
                region["kind"] = r.kindName();
                region["offset"] = r.offset;
                region["size"] = r.size;
                region["packets"] = r.packets;
                region["body_sid"] = r.bodySID;
                py::dict tracks;
                for (const MXF::Model::Region::TrackBytes& t : r.tracks) {
                    tracks[py::int_(t.trackNumber)] = t.bytes;
                }
                region["track_bytes"] = tracks;
                regions.append(region);
            }
            walk["regions"] = regions;
            walk["truncated_at"] = header_.walk->truncatedAt
                                       ? py::object(py::int_(*header_.walk->truncatedAt))
                                       : py::object(py::none());
            out["walk"] = walk;
        } else {
            out["walk"] = py::none();
        }
        return out;
    }

  private:
    py::object label(const std::uint8_t* bytes) const {
        if (const MM::LabelDefinition* registered = dictionary_->typeDefinitions().label(bytes)) {
            return classes().label(MXF::Values::dottedHex(bytes, 16),
                                   std::string(registered->symbol), std::string(registered->name));
        }
        return classes().label(MXF::Values::dottedHex(bytes, 16), py::none(), py::none());
    }

    static py::object optionalUuid(const std::optional<MXF::Model::Bytes16>& id) {
        return id ? makeUuid(MXF::Values::plainHex(id->data(), 16)) : py::object(py::none());
    }

    enum class Form { Plain, Uuid, Timestamp, Rational };

    static Form formOf(const MM::TypeDefinition* type, Id::Identifier identifier) {
        if (type != nullptr) {
            if (type->symbol == "UUID" || type->kind == MM::TypeKind::StrongReference) {
                return Form::Uuid;
            }
            return type->symbol == "TimeStamp"  ? Form::Timestamp
                   : type->symbol == "Rational" ? Form::Rational
                                                : Form::Plain;
        }
        switch (identifier) {
            case Id::UUID:
            case Id::StrongRef:
                return Form::Uuid;
            case Id::Timestamp:
                return Form::Timestamp;
            case Id::Rational:
                return Form::Rational;
            default:
                return Form::Plain;
        }
    }

    // The value in its natural Python form, by its registered type where there is one, else by
    // its data type.
    py::object value(const MXF::Model::Value& v, const MM::TypeDefinition* type,
                     Id::Identifier identifier, Id::Identifier itemIdentifier = Id::Unknown) const {
        const MM::TypeDefinitions& types = dictionary_->typeDefinitions();
        const MM::TypeDefinition* resolved = type != nullptr ? types.resolve(*type) : nullptr;
        const Form form = formOf(resolved, identifier);
        switch (v.kind()) {
            case MXF::Model::Value::Kind::Boolean:
                return py::bool_(v.asBoolean());
            case MXF::Model::Value::Kind::Signed:
                return py::int_(v.asSigned());
            case MXF::Model::Value::Kind::Unsigned:
                return py::int_(v.asUnsigned());
            case MXF::Model::Value::Kind::Float:
                return py::float_(v.asFloat());
            case MXF::Model::Value::Kind::Label:
                return classes().label(v.asText(), v.labelSymbol(), v.labelName());
            case MXF::Model::Value::Kind::Text:
                if (form == Form::Uuid) {
                    std::string digits;
                    for (char c : v.asText()) {
                        if (c != '-') {
                            digits += c;
                        }
                    }
                    if (digits.size() == 32) {
                        return makeUuid(digits);
                    }
                }
                if (form == Form::Timestamp) {
                    return makeTimestamp(v.asText());
                }
                return py::str(v.asText());
            case MXF::Model::Value::Kind::Record: {
                py::dict members;
                for (std::size_t i = 0; i < v.asRecord().size(); ++i) {
                    const MM::TypeDefinition* memberType =
                        resolved != nullptr && i < resolved->members.size()
                            ? types.type(resolved->members[i].type)
                            : nullptr;
                    const auto& [symbol, member] = v.asRecord()[i];
                    if (resolved != nullptr && resolved->kind == MM::TypeKind::Indirect && i == 1) {
                        const auto actual = MM::labelFromText(v.asRecord()[0].second.asText());
                        memberType = actual ? types.type(*actual) : nullptr;
                    }
                    members[py::str(symbol)] = value(member, memberType, Id::Unknown);
                }
                return std::move(members);
            }
            case MXF::Model::Value::Kind::List: {
                if (form == Form::Rational && v.asList().size() == 2) {
                    const std::int64_t n = v.asList()[0].asSigned();
                    const std::int64_t d = v.asList()[1].asSigned();
                    if (d != 0) {
                        return classes().fraction(n, d);
                    }
                    return py::make_tuple(n, d);
                }
                const MM::TypeDefinition* itemType =
                    resolved != nullptr && resolved->base ? types.type(*resolved->base) : nullptr;
                py::list items;
                for (const MXF::Model::Value& item : v.asList()) {
                    items.append(
                        value(item, itemType, itemType == nullptr ? itemIdentifier : Id::Unknown));
                }
                return std::move(items);
            }
        }
        return py::none();
    }

    py::object item(const MXF::Model::Item& item) const {
        Id::Identifier dataType = Id::Unknown, itemType = Id::Unknown;
        if (item.element != nullptr) {
            dataType = item.element->dataType();
            MM::Visitors::GetMetaElementVisitor<MM::MetaCollectionElement> collection;
            item.element->accept(collection);
            itemType =
                collection.result() != nullptr ? collection.result()->dataSubType() : Id::Unknown;
        }
        py::object converted = py::none();
        if (item.value) {
            converted = value(*item.value, item.type, dataType, itemType);
        } else {
            converted = bytesOf(item.bytes.data(), item.bytes.size());
        }
        const char* typeName = item.element != nullptr ? Id::identifierToString(dataType) : nullptr;
        return classes().item(
            item.offset, item.tag,
            item.label ? py::object(py::str(MXF::Values::dottedHex(item.label->data(), 16)))
                       : py::object(py::none()),
            item.name().empty() ? py::object(py::none()) : py::object(py::str(item.name())),
            typeName != nullptr ? py::object(py::str(typeName)) : py::object(py::none()),
            item.type != nullptr  ? py::object(py::str(std::string(item.type->symbol)))
            : item.fileDefinition ? py::object(py::str(item.fileDefinition->type))
                                  : py::object(py::none()),
            item.bytes.size(), converted, item.value.has_value(),
            item.fileDefinition ? py::object(py::str("file")) : py::object(py::none()));
    }

    std::string path_;
    std::shared_ptr<const MM::Dictionary> dictionary_;
    MXF::Model::HeaderMetadata header_;
};

std::shared_ptr<Reading> readFile(const std::string& path, std::shared_ptr<Dictionary> dictionary,
                                  bool walk) {
    if (!dictionary) {
        dictionary = Dictionary::builtin();
    }
    MXF::Reading::ReadOptions options;
    options.walk = walk;
    std::optional<MXF::Model::HeaderMetadata> header;
    {
        py::gil_scoped_release released;
        header.emplace(MXF::Reading::readHeaderMetadata(path.c_str(), dictionary->get(), options));
    }
    return std::make_shared<Reading>(path, dictionary->shared(), std::move(*header));
}

}  // namespace

PYBIND11_MODULE(_xsddict, m) {
    m.doc() = "The xsddict libraries' interface; use the xsddict package.";
    m.attr("__version__") = XSDDICT_VERSION;
    // Looked up now, under the import lock: made later, by the first of several reading threads,
    // a thread waiting on the static's guard while holding the GIL would deadlock the one that
    // makes it (imports give the GIL up).
    classes();

    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown) {
                std::rethrow_exception(thrown);
            }
        } catch (const MXF::Model::FileRefused& e) {
            const py::object refused =
                classes().fileRefused(e.rule(), e.offset(), utf8(e.message()));
            PyErr_SetObject(refused.get_type().ptr(), refused.ptr());
        } catch (const MXF::Writing::NoRoom& e) {
            const py::object error = classes().noRoom(utf8(e.message()), e.needed());
            PyErr_SetObject(error.get_type().ptr(), error.ptr());
        } catch (const DictionaryFailure& e) {
            const py::object error = classes().dictionaryError(e.message);
            PyErr_SetObject(error.get_type().ptr(), error.ptr());
        } catch (const Velmar::SDK::Exceptions::BaseException& e) {
            const py::object error = classes().error(utf8(e.message()));
            PyErr_SetObject(error.get_type().ptr(), error.ptr());
        } catch (const std::bad_alloc&) {
            PyErr_SetString(PyExc_MemoryError, "out of memory");
        }
    });

    py::class_<Dictionary, std::shared_ptr<Dictionary>>(m, "_Dictionary")
        .def_static("load", &Dictionary::load)
        .def_static("builtin", &Dictionary::builtin)
        .def_static("stacked", &Dictionary::stacked)
        .def("clashes", &Dictionary::clashes)
        .def("element", &Dictionary::element)
        .def("element_by_tag", &Dictionary::elementByTag)
        .def("element_by_name", &Dictionary::elementByName)
        .def("set", &Dictionary::set)
        .def("set_by_name", &Dictionary::setByName)
        .def("label", &Dictionary::label)
        .def("counts", &Dictionary::counts);

    py::class_<Reading, std::shared_ptr<Reading>>(m, "_Reading")
        .def("data", [](const py::object& self) { return self.cast<const Reading&>().data(self); })
        .def("items", &Reading::items)
        .def("to_json", &Reading::toJson)
        .def("to_html", &Reading::toHtml)
        .def("set_item", &Reading::setItem)
        .def("remove", &Reading::remove)
        .def("add_set", &Reading::addSet)
        .def("apply", &Reading::apply)
        .def("write", &Reading::write)
        .def("to_regxml", &Reading::toRegXML, py::arg("root") = py::none(),
             py::arg("partition") = "auto");

    m.def("_read", &readFile, py::arg("path"), py::arg("dictionary"), py::arg("walk"));
    m.def(
        "_recover",
        [](const std::string& path) -> py::object {
            MXF::Writing::Recovery recovery;
            {
                py::gil_scoped_release unlocked;
                recovery = MXF::Writing::recoverFile(path.c_str());
            }
            if (!recovery.rolledBack) {
                return py::none();
            }
            py::dict out;
            out["journal"] = recovery.journal;
            out["regions"] = recovery.regions;
            return std::move(out);
        },
        py::arg("path"));
    // What a timestamp value becomes; no fixture carries one that names a moment.
    m.def("_timestamp", &makeTimestamp, py::arg("text"));
}
