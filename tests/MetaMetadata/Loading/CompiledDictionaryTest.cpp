// A compiled dictionary loads back equal to the schema it was made from, and a file that is not
// one, or is damaged anywhere, is refused with InvalidCompiledDictionary before anything is
// sized from it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

#include "Dump.h"
#include "Velmar/SDK/Exceptions/InvalidCompiledDictionary.h"
#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledDictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledFormat.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Platform/AllocationFaults.h"
#include "Velmar/SDK/Platform/malloc_alloc.h"
#include "Velmar/SDK/Types/Collection.h"
#include "Velmar/SDK/Types/Numbers.h"
#include "Velmar/SDK/Types/Strings.h"
#include "Velmar/SDK/Types/UID.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using namespace Velmar::SDK::MetaMetadata;
namespace Compiled = Loading::Compiled;
namespace Id = Types::Identifiers;
namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;

namespace {

std::string dump(const Dictionary& dictionary) {
    std::ostringstream out;
    xsddict::writeDump("-", dictionary, out);
    return out.str();
}

void loadSchema(const fs::path& path, Dictionary& dictionary) {
    Loading::XSDDictionaryLoader loader;
    loader.loadMetaElementDocumentation(true);  // so that long texts are carried too
    loader.loadMetaElementLengthDescription(true);
    loader.load(testing_support::wide(path.string()).c_str(), dictionary);
}

// Local tags in the order given, then the conflicts.
std::vector<std::string> tags(const Dictionary& dictionary) {
    std::vector<std::string> out;
    auto add = [&](const char* prefix, const Dictionary::LocalTagMapping& mapping) {
        out.push_back(prefix +
                      std::string(Utils::toUtf8(mapping.tag.toString(Types::Dotted) + u" " +
                                                mapping.label.toString(Types::Dotted))
                                      .c_str()));
    };
    for (const auto& mapping : dictionary.localTags())
        add("", mapping);
    for (const auto& mapping : dictionary.localTagConflicts())
        add("conflict ", mapping);
    return out;
}

// Every registered type, member, item, element type, symbol and label, a line each.
std::string typesText(const TypeDefinitions& types) {
    std::string out;
    for (const TypeDefinition& t : types.types()) {
        out += labelUrn(t.label) + " " + std::string(t.symbol) + " " + std::string(t.name) + " " +
               std::string(t.namespaceURI) + " " + typeKindName(t.kind) + " " +
               std::to_string(t.size) + (t.isSigned ? " signed" : "") +
               (t.base ? " " + labelUrn(*t.base) : "") + "\n";
        for (const TypeMember& m : t.members)
            out += "  " + std::string(m.symbol) + " " + std::string(m.name) + " " +
                   labelUrn(m.type) + "\n";
        for (const TypeItem& i : t.items)
            out += "  " + std::string(i.symbol) + " " + std::string(i.name) + " = " +
                   std::string(i.text) + "\n";
    }
    for (const auto& e : types.elementTypes())
        out += labelUrn(e.element) + " : " + labelUrn(e.type) +
               (e.uniqueIdentifier ? " unique" : "") + "\n";
    for (const auto& symbol : types.registeredSymbols())
        out += labelUrn(symbol.label) + " as " + std::string(symbol.symbol) + "\n";
    for (const LabelDefinition& l : types.labels())
        out += labelUrn(l.label) + " " + std::string(l.symbol) + " " + std::string(l.name) + "\n";
    return out;
}

Bytes compiled(const Dictionary& dictionary, const char* note = "") {
    const auto bytes = Loading::compileDictionary(dictionary, note);
    return Bytes(bytes.begin(), bytes.end());
}

void load(const Bytes& bytes, Dictionary& dictionary) {
    Loading::loadCompiledDictionary(bytes.data(), bytes.size(), dictionary, "test.xsdc");
}

// The message of the refusal of these bytes, or what happened instead.
std::string refusal(const Bytes& bytes) {
    try {
        Dictionary dictionary;
        load(bytes, dictionary);
        return "loaded";
    } catch (const Exceptions::InvalidCompiledDictionary& e) {
        return Utils::toUtf8(e.message()).c_str();
    } catch (const std::exception& e) {
        return std::string("escaped: ") + e.what();
    }
}

// Content written by hand, and the file around it with a matching checksum.
class Content {
  public:
    Content& u8(unsigned v) { return put(v, 1); }
    Content& u16(unsigned v) { return put(v, 2); }
    Content& u32(std::uint64_t v) { return put(v, 4); }
    Content& u64(std::uint64_t v) { return put(v, 8); }
    Content& label(unsigned char last = 1) {
        static const unsigned char prefix[15] = {6, 0x0e, 0x2b, 0x34, 1, 1, 1, 1, 1, 2, 3, 4, 5, 6};
        bytes_.insert(bytes_.end(), prefix, prefix + 15);
        bytes_.push_back(last);
        return *this;
    }
    // The strings: the note, then each given one (ASCII).
    Content& strings(std::initializer_list<const char*> texts) {
        std::vector<unsigned> units{0};
        for (const char* text : texts) {
            for (const char* c = text; *c != 0; ++c)
                units.push_back(static_cast<unsigned char>(*c));
            units.push_back(0);
        }
        u32(texts.size() + 1).u32(units.size());
        for (unsigned unit : units)
            u16(unit);
        return *this;
    }
    Content& counts(unsigned elements, unsigned attributes, unsigned sets, unsigned tags = 0,
                    unsigned conflicts = 0) {
        return u32(elements).u32(attributes).u32(sets).u32(tags).u32(conflicts);
    }
    // A simple UInt8 element without properties.
    Content& simpleElement(unsigned char last = 1) {
        return u8(0).label(last).u8(Id::UInt8).u32(0);
    }
    // An attribute of element 0, optional, with no tag and no properties, before its value.
    Content& attribute() { return u32(0).u8(0).u8(0); }
    // Registered types follow: a type of this kind and flags, with no texts, members or items.
    Content& type(unsigned kind, unsigned flags = 0) {
        label().u8(kind).u8(flags).u32(4);
        if (flags & 2)
            label();
        return u32(0).u32(0).u32(0).u32(0).u32(0);
    }
    Content& set(std::initializer_list<unsigned> attributes) {
        label(0x7f).u32(0).u32(attributes.size());
        for (unsigned a : attributes)
            u32(a);
        return *this;
    }

    Bytes file(std::uint32_t version = Loading::kCompiledDictionaryFormatVersion,
               std::uint32_t flags = 0) const {
        Bytes out(Compiled::kSignature, Compiled::kSignature + 8);
        auto put = [&](std::uint64_t v, int size) {
            for (int i = 0; i < size; ++i)
                out.push_back(static_cast<unsigned char>(v >> (8 * i)));
        };
        put(version, 4);
        put(flags, 4);
        put(bytes_.size(), 8);
        put(Compiled::checksum(bytes_.data(), bytes_.size()), 8);
        out.insert(out.end(), bytes_.begin(), bytes_.end());
        return out;
    }

  private:
    Content& put(std::uint64_t v, int size) {
        for (int i = 0; i < size; ++i)
            bytes_.push_back(static_cast<unsigned char>(v >> (8 * i)));
        return *this;
    }
    Bytes bytes_;
};

// One element and one attribute holding the given value, in one set.
Bytes withValue(const std::function<void(Content&)>& value) {
    Content c;
    c.strings({}).counts(1, 1, 1).simpleElement().attribute();
    value(c);
    c.u32(0);  // the attribute's properties
    c.set({0});
    return c.file();
}

// Every schema of the tests and samples that loads, and the register's when it was built.
std::vector<fs::path> loadableSchemas() {
    std::vector<fs::path> found;
    for (const char* root : {VELMAR_TESTS_DIR, VELMAR_SAMPLES_DIR}) {
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            if (entry.path().extension() == ".xsd")
                found.push_back(entry.path());
        }
    }
    std::sort(found.begin(), found.end());
    found.emplace_back(fs::path(VELMAR_BUILTIN_DIR) / "registers.xsd");
    return found;
}

}  // namespace

TEST(CompiledDictionary, LoadsBackEveryDictionaryOfTheTestsAsTheSchemaDoes) {
    int compared = 0;
    std::size_t registeredTypes = 0;
    for (const fs::path& schema : loadableSchemas()) {
        SCOPED_TRACE(schema.string());
        Dictionary fromSchema;
        try {
            loadSchema(schema, fromSchema);
        } catch (const Exceptions::BaseException&) {
            continue;  // a broken schema of the tests
        }
        const Bytes bytes = compiled(fromSchema, "note");
        Dictionary fromCompiled;
        load(bytes, fromCompiled);
        EXPECT_EQ(dump(fromCompiled), dump(fromSchema));
        EXPECT_EQ(tags(fromCompiled), tags(fromSchema));
        EXPECT_EQ(typesText(fromCompiled.typeDefinitions()),
                  typesText(fromSchema.typeDefinitions()));
        registeredTypes += fromSchema.typeDefinitions().types().size();
        EXPECT_EQ(compiled(fromCompiled, "note"), bytes) << "a second compile differs";
        ++compared;
    }
    EXPECT_GE(compared, 20);
    EXPECT_GE(registeredTypes, 500u);  // the register's
}

// Every value class with fields that are not zero, both collections with an empty item, texts
// beyond ASCII and the Basic Multilingual Plane, and every element kind with its bounds.
TEST(CompiledDictionary, CarriesEveryKindOfElementAndValue) {
    const Types::UniversalLabel base(u"06.0e.2b.34.01.01.01.05.03.01.02.0a.02.00.00.00",
                                     Types::Dotted);
    const KLV::Key target(u"06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.2f.00", Types::Dotted);
    unsigned char bytes64[64];
    for (int i = 0; i < 64; ++i)
        bytes64[i] = static_cast<unsigned char>(0xc0 + i);

    Dictionary dictionary;
    auto add = [&](Templates::auto_ptr<MetaElement> element) -> const MetaElement& {
        const MetaElement& added = *element;
        const Types::UniversalLabel label = element->universalLabel();
        element->addProperty(u"name", u"Gr\u00fc\u00dfe \U0001F39E");
        dictionary.addMetaElement(label, std::move(element));
        return added;
    };
    auto labelled = [&](unsigned char n) {
        unsigned char b[16];
        for (int i = 0; i < 16; ++i)
            b[i] = base[i];
        b[15] = n;
        return Types::UniversalLabel(b);
    };
    MetaCollectionElement::CollectionSizeLimits limits;
    limits.minimum = 3;
    limits.maximum = 0xfffffffful + 7;
    const MetaElement& simple =
        add(Templates::auto_ptr<MetaElement>(new MetaSimpleElement(labelled(1), Id::UInt8)));
    add(Templates::auto_ptr<MetaElement>(
        new MetaCollection(labelled(2), limits, Id::Batch, Id::UniversalLabel)));
    add(Templates::auto_ptr<MetaElement>(
        new MetaReferenceElement(labelled(3), KeyVector{target, target}, Id::StrongRef)));
    add(Templates::auto_ptr<MetaElement>(new MetaReferenceCollection(
        labelled(4), limits, KeyVector{target}, Id::Array, Id::WeakRef)));
    dictionary.addLocalTag(Types::LocalTag(0x3c0a), labelled(1));
    dictionary.addLocalTag(Types::LocalTag(0x3c0a), labelled(2));  // a conflict
    dictionary.addLocalTag(Types::LocalTag(0xffff), labelled(3));

    using Ptr = Templates::auto_ptr<Types::SimpleDataType>;
    std::vector<Templates::auto_ptr<const Types::BaseType>> values;
    auto value = [&](Types::BaseType* v) { values.emplace_back(v); };
    value(new Types::Boolean(true));
    value(new Types::Int8(-128));
    value(new Types::Int16(-12345));
    value(new Types::Int32(-2000000000));
    value(new Types::Int64(-9000000000000000000LL));
    value(new Types::UInt8(255));
    value(new Types::UInt16(65534));
    value(new Types::UInt32(4000000000u));
    value(new Types::UInt64(18000000000000000000ULL));
    value(new Types::Length(-7));
    value(new Types::Position(1LL << 40));
    value(new Types::Rational(30000, -1001));
    value(new Types::UTF16(0x00e9));
    value(new Types::UTF16String(u"\u00e9t\u00e9 \U0001F39E"));
    value(new Types::UTF8String(u"\u65e5\u672c"));
    value(new Types::ISO7String("seven bits"));
    value(new Types::ISO8String("eight \xe9"));
    value(new Types::UniversalLabel(labelled(9)));
    value(new Types::AUID(bytes64 + 1));
    value(new Types::UUID(bytes64 + 2));
    value(new Types::UMID32(bytes64));
    value(new Types::UMID64(bytes64));
    value(new Types::LocalTag(0x8001));
    auto array = new Types::Array(16);
    array->append(Ptr(new Types::UniversalLabel(labelled(5))));
    array->append(Ptr());
    array->append(Ptr(new Types::Int32(-3)));
    value(array);
    auto batch = new Types::Batch(0);
    batch->append(Ptr());
    batch->append(Ptr(new Types::UTF16String(u"b")));
    value(batch);
    auto empty = new Types::Array(4);
    value(empty);

    MetaMetadataSet set(target);
    set.addProperty(u"name", u"Everything");
    const auto statuses = {AttributeRequiredStatus::Optional, AttributeRequiredStatus::Required,
                           AttributeRequiredStatus::BestEffort};
    std::size_t i = 0;
    for (auto& v : values) {
        const auto status = statuses.begin()[i % 3];
        MetaAttributePtr attribute(
            new MetaAttribute(simple, status, std::move(v),
                              i % 2 ? dictionary.localTag(simple.universalLabel()) : nullptr));
        attribute->addProperty(u"index", testing_support::wide(std::to_string(i)).c_str());
        set.addMetaAttribute(std::move(attribute));
        ++i;
    }
    const unsigned char bareKey[16] = {6,    0x0e, 0x2b, 0x34, 2, 0x53, 1,   1,
                                       0x0d, 1,    1,    1,    1, 1,    0x7e};
    MetaMetadataSet bare{KLV::Key(bareKey)};
    dictionary.addMetaMetadataSet(target, set);
    dictionary.addMetaMetadataSet(bare.key(), bare);

    const std::string note = "register of 2023-11-18 \xc3\xa9";
    const Bytes bytes = compiled(dictionary, note.c_str());
    Dictionary loaded;
    load(bytes, loaded);
    EXPECT_EQ(dump(loaded), dump(dictionary));
    ASSERT_EQ(loaded.metaMetadataSetCount(), 2u);
    EXPECT_EQ(loaded.metaMetadataSetAt(0).attributeCount(), 26u);
    EXPECT_EQ(tags(loaded), tags(dictionary));

    testing_support::TempDir dir;
    const std::string path = (dir.path() / "everything.xsdc").string();
    Loading::writeCompiledDictionary(dictionary, path.c_str(), note.c_str());
    EXPECT_EQ(Loading::compiledDictionaryNote(path.c_str()).c_str(), note);
    Dictionary fromFile;
    Loading::loadCompiledDictionary(path.c_str(), fromFile);
    EXPECT_EQ(dump(fromFile), dump(dictionary));
}

// A file cut anywhere, a byte changed anywhere, another version or flags: each refused as such.
TEST(CompiledDictionary, RefusesWhatIsNotAWholeFileOfThisVersion) {
    Dictionary dictionary;
    loadSchema(testing_support::fixture("MetaMetadata/Loading/fixtures/sets.xsd"), dictionary);
    const Bytes good = compiled(dictionary);
    ASSERT_EQ(refusal(good), "loaded");

    for (std::size_t size = 0; size < good.size(); ++size) {
        const std::string message = refusal(Bytes(good.begin(), good.begin() + size));
        const std::string expected = size < 8 ? "\"test.xsdc\" is not a compiled dictionary: its "
                                                "first bytes are not the signature"
                                              : "Compiled dictionary \"test.xsdc\" is truncated: ";
        ASSERT_EQ(message.substr(0, expected.size()), expected) << size << " bytes";
    }
    for (std::size_t at = 0; at < good.size(); ++at) {
        Bytes bad = good;
        bad[at] ^= 0x10;
        const std::string message = refusal(bad);
        ASSERT_NE(message, "loaded") << "byte " << at;
        ASSERT_EQ(message.find("escaped"), std::string::npos) << message;
        if (at >= 24) {
            ASSERT_EQ(message,
                      "Compiled dictionary \"test.xsdc\" is corrupt: its content does not "
                      "match its checksum")
                << "byte " << at;
        }
    }
    Bytes longer = good;
    longer.push_back(0);
    EXPECT_EQ(refusal(longer),
              "Compiled dictionary \"test.xsdc\" is corrupt: 1 bytes follow its content");

    Content minimal;
    minimal.strings({}).counts(0, 0, 0);
    EXPECT_EQ(refusal(minimal.file()), "loaded");
    const std::string version = "Compiled dictionary \"test.xsdc\" is of format version ";
    EXPECT_EQ(refusal(minimal.file(1)), "loaded");
    // Version 1 ends with the sets.
    Content withTypes;
    withTypes.strings({}).counts(0, 0, 0).u8(1).u32(0).u32(0).u32(0).u32(0);
    EXPECT_EQ(refusal(withTypes.file(2)), "loaded");
    EXPECT_NE(refusal(withTypes.file(1)).find("17 bytes follow the last set"), std::string::npos)
        << refusal(withTypes.file(1));
    EXPECT_EQ(refusal(minimal.file(0)),
              version + "0, older than the versions this library reads (1 to 2): compile it again");
    EXPECT_EQ(refusal(minimal.file(3)),
              version + "3, newer than the versions this library reads (1 to 2): compile it again");
    EXPECT_EQ(refusal(minimal.file(1, 0x80000000u)),
              "Compiled dictionary \"test.xsdc\" is corrupt: its header has flags this library "
              "does not know");
}

// Content that matches its checksum but does not hold together: each case at its bound loads,
// and one past it is refused with what is wrong and where.
TEST(CompiledDictionary, RefusesContentThatDoesNotHoldTogether) {
    using Build = std::function<void(Content&)>;
    struct Case {
        const char* what;
        Build build;
        std::string expected;  // the message after "corrupt at byte N: ", or "loaded"
    };
    // One element (tagged 3c.0a or not) and one attribute, with no value and no properties.
    auto oneAttribute = [](unsigned element, unsigned status, unsigned tagFlag, bool tagged) {
        return [=](Content& c) {
            c.strings({}).counts(1, 1, 0, tagged ? 1 : 0).simpleElement();
            if (tagged)
                c.u16(0x3c0a).label();
            c.u32(element).u8(status).u8(tagFlag).u8(0).u32(0);
        };
    };
    const std::vector<Case> cases = {
        {"no strings", [](Content& c) { c.u32(0).u32(1).u16(0).counts(0, 0, 0); },
         "0 strings in 1 code units"},
        {"more strings announced than units",
         [](Content& c) { c.u32(2).u32(1).u16(0).counts(0, 0, 0); }, "2 strings in 1 code units"},
        {"more strings than announced",
         [](Content& c) { c.u32(1).u32(2).u16(0).u16(0).counts(0, 0, 0); },
         "more strings than the 1 announced"},
        {"an unended string", [](Content& c) { c.u32(1).u32(1).u16('a').counts(0, 0, 0); },
         "the strings do not end as announced"},
        {"string units past the end", [](Content& c) { c.u32(1).u32(0x7fffffff).u16(0); },
         "2147483647 string code units of at least 2 bytes each, where 2 bytes are left"},
        {"one element where room is for one",
         [](Content& c) { c.strings({}).counts(1, 0, 0).simpleElement(); }, "loaded"},
        {"two elements where room is for one",
         [](Content& c) { c.strings({}).counts(2, 0, 0).simpleElement(); },
         "2 elements of at least 22 bytes each, where 38 bytes are left"},
        {"attributes past the end", [](Content& c) { c.strings({}).counts(0, 2, 0); },
         "2 attributes of at least 11 bytes each, where 12 bytes are left"},
        {"sets past the end", [](Content& c) { c.strings({}).counts(0, 0, 1); },
         "1 sets of at least 24 bytes each, where 8 bytes are left"},
        {"local tags past the end", [](Content& c) { c.strings({}).counts(0, 0, 0, 1); },
         "1 local tags of at least 18 bytes each, where 4 bytes are left"},
        {"conflicts past the end",
         [](Content& c) { c.strings({}).counts(0, 0, 0, 0, 0xffffffffu); },
         "4294967295 local tag conflicts of at least 18 bytes each, where 0 bytes are left"},
        {"the last element kind",
         [](Content& c) {
             c.strings({})
                 .counts(1, 0, 0)
                 .u8(3)
                 .label()
                 .u8(Id::Array)
                 .u8(Id::WeakRef)
                 .u64(0)
                 .u64(1)
                 .u32(0)
                 .u32(0);
         },
         "loaded"},
        {"an element kind past the last",
         [](Content& c) { c.strings({}).counts(1, 0, 0).u8(4).label().u8(Id::UInt8).u32(0); },
         "element kind 4, which is none"},
        {"the last data type",
         [](Content& c) {
             c.strings({}).counts(1, 0, 0).u8(0).label().u8(Id::kIdentifierCount - 1).u32(0);
         },
         "loaded"},
        {"a data type past the last",
         [](Content& c) {
             c.strings({}).counts(1, 0, 0).u8(0).label().u8(Id::kIdentifierCount).u32(0);
         },
         "a data type 43, which is none"},
        {"an item data type past the last",
         [](Content& c) {
             c.strings({}).counts(1, 0, 0).u8(1).label().u8(Id::Array).u8(0xff).u64(0).u64(0).u32(
                 0);
         },
         "an item data type 255, which is none"},
        {"targets past the end",
         [](Content& c) {
             c.strings({}).counts(1, 0, 0).u8(2).label().u8(Id::StrongRef).u32(1).u32(0);
         },
         "1 target sets of at least 16 bytes each, where 4 bytes are left"},
        {"the last string",
         [](Content& c) {
             c.strings({"n", "v"}).counts(1, 0, 0).u8(0).label().u8(Id::UInt8).u32(1).u32(1).u32(2);
         },
         "loaded"},
        {"a string past the last",
         [](Content& c) {
             c.strings({"n", "v"}).counts(1, 0, 0).u8(0).label().u8(Id::UInt8).u32(1).u32(1).u32(3);
         },
         "string 3 of 3"},
        {"properties past the end",
         [](Content& c) { c.strings({}).counts(1, 0, 0).u8(0).label().u8(Id::UInt8).u32(1); },
         "1 properties of at least 8 bytes each, where 0 bytes are left"},
        {"local tag 00.00", [](Content& c) { c.strings({}).counts(0, 0, 0, 1).u16(0).label(); },
         "local tag 00.00"},
        {"the last attribute element", oneAttribute(0, 2, 0, false), "loaded"},
        {"an attribute element past the last", oneAttribute(1, 0, 0, false), "element 1 of 1"},
        {"a status past the last", oneAttribute(0, 3, 0, false),
         "required status 3, which is none"},
        {"a tagged attribute", oneAttribute(0, 0, 1, true), "loaded"},
        {"a local tag flag of 2", oneAttribute(0, 0, 2, true), "a local tag flag of 2"},
        {"a tag the element lacks", oneAttribute(0, 0, 1, false),
         "an attribute with the local tag of an element that has none"},
        {"the last set attribute",
         [](Content& c) {
             c.strings({}).counts(1, 1, 1).simpleElement().attribute().u8(0).u32(0).set({0});
         },
         "loaded"},
        {"a set attribute past the last",
         [](Content& c) {
             c.strings({}).counts(1, 1, 1).simpleElement().attribute().u8(0).u32(0).set({1});
         },
         "attribute 1 of 1"},
        {"set attributes past the end",
         [](Content& c) { c.strings({}).counts(0, 0, 1).label().u32(0).u32(2).u32(0); },
         "2 set attributes of at least 4 bytes each, where 4 bytes are left"},
        {"bytes after the sets",
         [](Content& c) { c.strings({}).counts(0, 0, 1).set({}).u8(0).u8(0); },
         "a registered types flag of 0"},
        {"a registered types flag past the last",
         [](Content& c) { c.strings({}).counts(0, 0, 0).u8(2); }, "a registered types flag of 2"},
        {"the last type kind",
         [](Content& c) {
             c.strings({})
                 .counts(0, 0, 0)
                 .u8(1)
                 .u32(1)
                 .type(kTypeKindCount - 1)
                 .u32(0)
                 .u32(0)
                 .u32(0);
         },
         "loaded"},
        {"a type kind past the last",
         [](Content& c) { c.strings({}).counts(0, 0, 0).u8(1).u32(1).type(kTypeKindCount); },
         "type kind 16, which is none"},
        {"every type flag",
         [](Content& c) {
             c.strings({}).counts(0, 0, 0).u8(1).u32(1).type(0, 3).u32(0).u32(0).u32(0);
         },
         "loaded"},
        {"a type flag past the known",
         [](Content& c) { c.strings({}).counts(0, 0, 0).u8(1).u32(1).type(0, 4); },
         "type flags 4 this library does not know"},
        {"types past the end",
         [](Content& c) { c.strings({}).counts(0, 0, 0).u8(1).u32(1).u32(0); },
         "1 registered types of at least 42 bytes each, where 4 bytes are left"},
        {"a text past the end",
         [](Content& c) {
             c.strings({}).counts(0, 0, 0).u8(1).u32(0).u32(0).u32(1).label().u32(5).u8('a');
         },
         "5 a registered symbol of at least 1 bytes each, where 1 bytes are left"},
        {"the last unique identifier flag",
         [](Content& c) {
             c.strings({}).counts(0, 0, 0).u8(1).u32(0).u32(1).label(1).label(2).u8(1).u32(0).u32(
                 0);
         },
         "loaded"},
        {"a unique identifier flag past the last",
         [](Content& c) {
             c.strings({}).counts(0, 0, 0).u8(1).u32(0).u32(1).label(1).label(2).u8(2);
         },
         "a unique identifier flag of 2"},
        {"a label given twice",
         [](Content& c) {
             c.strings({}).counts(0, 0, 0).u8(1).u32(0).u32(0).u32(0).u32(2);
             c.label(7).u32(1).u8('a').u32(0).label(7).u32(1).u8('b').u32(0);
         },
         "1 registered labels given twice"},
        {"bytes after the registered types",
         [](Content& c) { c.strings({}).counts(0, 0, 0).u8(1).u32(0).u32(0).u32(0).u32(0).u8(0); },
         "1 bytes follow the registered types"},
    };
    for (const Case& c : cases) {
        Content content;
        c.build(content);
        const std::string message = refusal(content.file());
        if (c.expected == "loaded") {
            EXPECT_EQ(message, "loaded") << c.what;
            continue;
        }
        const std::string prefix = "Compiled dictionary \"test.xsdc\" is corrupt at byte ";
        const auto colon = message.find(": ", prefix.size());
        EXPECT_TRUE(message.rfind(prefix, 0) == 0 && colon != std::string::npos &&
                    message.substr(colon + 2) == c.expected)
            << c.what << ": " << message;
    }
}

TEST(CompiledDictionary, RefusesValuesOutsideTheirTypes) {
    using Build = std::function<void(Content&)>;
    const std::vector<std::pair<Build, std::string>> cases = {
        {[](Content& c) { c.u8(Compiled::kValueCodes - 1).u32(0).u32(0); }, "loaded"},
        {[](Content& c) { c.u8(Compiled::kValueCodes); }, "value code 26, which is none"},
        {[](Content& c) { c.u8(1).u8(1); }, "loaded"},
        {[](Content& c) { c.u8(1).u8(2); }, "a Boolean of 2"},
        {[](Content& c) { c.u8(2).u64(0x7f); }, "loaded"},
        {[](Content& c) { c.u8(2).u64(0xffffffffffffff80ull); }, "loaded"},
        {[](Content& c) { c.u8(2).u64(0x80); }, "a number out of its type's range"},
        {[](Content& c) { c.u8(7).u64(0xffff); }, "loaded"},
        {[](Content& c) { c.u8(7).u64(0x10000); }, "a number out of its type's range"},
        {[](Content& c) { c.u8(8).u64(0x100000000ull); }, "a number out of its type's range"},
        {[](Content& c) { c.u8(16).u32(2).u8('o').u8('k'); }, "loaded"},
        {[](Content& c) { c.u8(16).u32(2).u8('o').u8(0); }, "an 8-bit string holding a NUL"},
        {[](Content& c) { c.u8(17).u32(100); },
         "100 string bytes of at least 1 bytes each, where 32 bytes are left"},
        {[](Content& c) { c.u8(14).u32(1); }, "string 1 of 1"},
        {[](Content& c) { c.u8(23).u16(0); }, "local tag 00.00"},
        {[](Content& c) { c.u8(24).u32(4).u32(2).u8(0).u8(8).u64(1); }, "loaded"},
        {[](Content& c) { c.u8(24).u32(4).u32(1).u8(25); }, "a collection inside a collection"},
        {[](Content& c) { c.u8(25).u32(0).u32(1).u8(26); }, "value code 26, which is none"},
        {[](Content& c) { c.u8(25).u32(0).u32(33); },
         "33 collection items of at least 1 bytes each, where 32 bytes are left"},
        {[](Content& c) { c.u8(22); }, "an identifier runs past the end"},
    };
    for (const auto& [build, expected] : cases) {
        const std::string message = refusal(withValue(build));
        if (expected == "loaded") {
            EXPECT_EQ(message, "loaded");
        } else {
            EXPECT_NE(message.find(": " + expected), std::string::npos) << message;
            EXPECT_EQ(message.rfind("Compiled dictionary \"test.xsdc\" is corrupt at byte ", 0), 0u)
                << message;
        }
    }
}

// Exhausted memory anywhere in a load ends it as the toolkit's exception, gives back all it
// took, and the next load works.
TEST(CompiledDictionary, EveryAllocationFailureEndsTheLoadCleanly) {
    namespace Faults = Platform::AllocationFaults;
    Dictionary source;
    loadSchema(testing_support::fixture("MetaMetadata/Loading/fixtures/including.xsd"), source);
    const Bytes bytes = compiled(source);
    const std::string expected = dump(source);
    const std::size_t before = Platform::malloc_alloc::bytesInUse();
    std::size_t injected = 0;
    for (std::size_t n = 1;; ++n) {
        Faults::failAllocation(n);
        std::string outcome;
        try {
            Dictionary dictionary;
            load(bytes, dictionary);
            if (!Faults::failed()) {
                Faults::disarm();
                EXPECT_EQ(dump(dictionary), expected);
                break;
            }
            outcome = "a failure was absorbed";
        } catch (const Exceptions::ParseError& e) {
            const std::string message = Utils::toUtf8(e.message()).c_str();
            if (message != "Out of memory loading compiled dictionary \"test.xsdc\"")
                outcome = message;
        } catch (...) {
            outcome = "escaped";
        }
        Faults::disarm();
        ++injected;
        EXPECT_EQ(outcome, "") << "allocation " << n;
        ASSERT_EQ(Platform::malloc_alloc::bytesInUse(), before) << "allocation " << n;
        ASSERT_LT(injected, 100000u);
    }
    EXPECT_GT(injected, 50u);
}

// The dictionary the package carries: found beside the library, noted with its snapshot, and
// equal to the register's schema.
TEST(CompiledDictionary, TheBuiltInDictionaryIsTheRegister) {
    const std::string path = Loading::builtinDictionaryPath().c_str();
    EXPECT_EQ(fs::path(path), fs::path(VELMAR_BUILTIN_DIR) / "registers.xsdc");
    const std::string note = Loading::compiledDictionaryNote(path.c_str()).c_str();
    EXPECT_EQ(note.rfind("SMPTE register snapshot of 20", 0), 0u) << note;
    Dictionary builtin;
    Loading::loadBuiltinDictionary(builtin);
    EXPECT_EQ(builtin.metaElementCount(), 3037u);
    EXPECT_EQ(builtin.metaMetadataSetCount(), 487u);
    EXPECT_TRUE(Loading::isCompiledDictionaryFile(path.c_str()));
}

// Either form loads whatever its file is called; a file that is neither says why.
TEST(CompiledDictionary, DictionaryFilesAreToldApartByContent) {
    const fs::path schema = testing_support::fixture("MetaMetadata/Loading/fixtures/sets.xsd");
    Dictionary fromSchema;
    Loading::loadDictionaryFile(schema.string().c_str(), fromSchema);
    testing_support::TempDir dir;
    const fs::path misnamed = dir.path() / "sets.xsd";
    Loading::writeCompiledDictionary(fromSchema, misnamed.string().c_str());
    const fs::path schemaCopy = dir.path() / "schema.xsdc";
    fs::copy_file(schema, schemaCopy);
    EXPECT_TRUE(Loading::isCompiledDictionaryFile(misnamed.string().c_str()));
    EXPECT_FALSE(Loading::isCompiledDictionaryFile(schemaCopy.string().c_str()));
    EXPECT_FALSE(Loading::isCompiledDictionaryFile((dir.path() / "none").string().c_str()));
    for (const fs::path& path : {misnamed, schemaCopy}) {
        Dictionary dictionary;
        Loading::loadDictionaryFile(path.string().c_str(), dictionary);
        EXPECT_EQ(dump(dictionary), dump(fromSchema)) << path;
    }
    EXPECT_THROW(
        {
            Dictionary dictionary;
            Loading::loadCompiledDictionary(dir.path().string().c_str(), dictionary);
        },
        Exceptions::ParseError);
}

// A write that fails leaves neither the file nor its scratch copy.
TEST(CompiledDictionary, AFailedWriteLeavesNothingBehind) {
    Dictionary dictionary;
    loadSchema(testing_support::fixture("MetaMetadata/Loading/fixtures/sets.xsd"), dictionary);
    testing_support::TempDir dir;
    const fs::path occupied = dir.path() / "occupied";
    fs::create_directories(occupied / "inside");  // rename cannot replace a full directory
    EXPECT_THROW(Loading::writeCompiledDictionary(dictionary, occupied.string().c_str()),
                 Exceptions::ParseError);
    EXPECT_THROW(Loading::writeCompiledDictionary(
                     dictionary, (dir.path() / "missing" / "x.xsdc").string().c_str()),
                 Exceptions::ParseError);
    std::vector<std::string> left;
    for (const auto& entry : fs::directory_iterator(dir.path()))
        left.push_back(entry.path().filename());
    EXPECT_EQ(left, std::vector<std::string>{"occupied"});
}
