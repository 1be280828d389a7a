// The summary a person reads first, and the report pages, through the public interface.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "../HandBuilt.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/Report/Report.h"
#include "Velmar/MXF/Report/Summary.h"
#include "Velmar/MXF/Values/Text.h"

namespace MXF = Velmar::MXF;

namespace {

std::string fixture(const std::string& name) {
    return std::string(VELMAR_MXF_TESTS_DIR) + "/fixtures/" + name;
}

MXF::Model::HeaderMetadata walked(const std::string& name) {
    MXF::Reading::ReadOptions options;
    options.walk = true;
    return MXF::Reading::readHeaderMetadata(fixture(name).c_str(), handbuilt::registers(), options);
}

std::size_t count(const std::string& text, const std::string& what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++n;
    }
    return n;
}

}  // namespace

TEST(FileSummary, SaysWhatEachFixtureIs) {
    struct Case {
        const char* file;
        const char* code;
        const char* duration;
        const char* essence;
        const char* writer;
    };
    const Case cases[] = {
        {"op1a-mpeg2-pcm.mxf", "OP1a", "00:00:00:05 (5 edit units at 25/1)",
         "picture: MPEG-2 MP-ML Long GOP 64 × 48; sound: MXF-GC Frame-wrapped AES3 audio data "
         "48000 Hz, 1 channel, 16 bits",
         "FFmpeg OP1a Muxer"},
        // Stored as two fields of 288 lines each.
        {"d10.mxf", "OP1a", "00:00:00:01 (1 edit units at 25/1)",
         "picture: SMPTE D-10 30Mbps 625x50I 720 × 576; sound: MXF-GC Frame-wrapped SMPTE D-10 "
         "625x50I 30Mbps DefinedTemplate 48000 Hz, 1 channel, 16 bits",
         "FFmpeg OP1a Muxer"},
        {"op1a-long.mxf", "OP1a", "00:00:12:00 (300 edit units at 25/1)",
         "picture: MPEG-2 MP-ML Long GOP 32 × 32", "FFmpeg OP1a Muxer"},
        {"opatom-audio.mxf", "OPAtom", "00:00:00.080 (3840 edit units at 48000/1)",
         "sound: MXF-GC Frame-wrapped Broadcast Wave audio data 48000 Hz, 1 channel, 24 bits",
         "FFmpeg OPAtom Muxer"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        const MXF::Report::FileSummary s =
            MXF::Report::summarize(walked(c.file), &handbuilt::registers());
        EXPECT_EQ(s.operationalPatternCode, c.code);
        EXPECT_EQ(s.durationText(), c.duration);
        EXPECT_EQ(s.essenceText(), c.essence);
        EXPECT_EQ(s.writer, c.writer);
        EXPECT_EQ(s.version, "59.27.100");
    }
    const MXF::Report::FileSummary s = MXF::Report::summarize(walked("op1a-mpeg2-pcm.mxf"));
    EXPECT_EQ(s.operationalPattern, "MXF OP1a SingleItem SinglePackage MultiTrack Stream Internal");
    ASSERT_EQ(s.tracks.size(), 3u);
    EXPECT_EQ(s.tracks[0].kind, "timecode");
    EXPECT_EQ(s.tracks[1].trackID, 2u);
    EXPECT_EQ(s.tracks[1].trackNumber, 0x15010500u);
    EXPECT_EQ(s.tracks[2].kind, "sound");
    EXPECT_EQ(s.tracks[2].duration, 5);
}

TEST(FileSummary, TellsDurationsAtEveryRate) {
    struct Case {
        std::int64_t duration, numerator, denominator;
        const char* clock;
    };
    const Case cases[] = {
        {24, 25, 1, "00:00:00:24"},         // the last unit of a second
        {25, 25, 1, "00:00:01:00"},         // and one past it
        {90000, 25, 1, "01:00:00:00"},      //
        {30, 30000, 1001, "00:00:01:00"},   // rounded to whole units a second
        {199, 100, 1, "00:00:01:99"},       // 100 a second still counts units
        {202, 101, 1, "00:00:02.000"},      // and 101, milliseconds
        {35232, 48000, 1, "00:00:00.734"},  //
        {7, 0, 1, "7 edit units"},          // no usable rate
        {-3, 25, 1, "-3 edit units"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.clock);
        MXF::Report::FileSummary s;
        s.duration = c.duration;
        s.editRate = MXF::Report::Rational{c.numerator, c.denominator};
        EXPECT_EQ(s.durationClock(), c.clock);
    }
    MXF::Report::FileSummary none;
    EXPECT_EQ(none.durationText(), "");
    none.duration = 3;
    EXPECT_EQ(none.durationText(), "3 edit units");
}

TEST(FileSummary, SaysTracksAlikeOnce) {
    MXF::Report::FileSummary s;
    for (int i = 0; i < 3; ++i) {
        s.tracks.push_back(
            {static_cast<std::uint32_t>(i + 2), 0, "sound", "PCM", "48000 Hz", {}, {}});
    }
    s.tracks.push_back({1, 0, "timecode", "", "", {}, {}});
    s.tracks.push_back({9, 0, "picture", "VC-3", "", {}, {}});
    EXPECT_EQ(s.essenceText(), "sound ×3: PCM 48000 Hz; picture: VC-3");
}

namespace {

// A header metadata of two sets, the second referred to by the first, holding what a page
// must escape, and its walk.
MXF::Model::HeaderMetadata twoSets() {
    MXF::Model::HeaderMetadata header;
    header.fileSize = 4000;
    MXF::Model::LocalSet root;
    root.offset = 100;
    root.instanceUID = MXF::Model::Bytes16{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    MXF::Model::LocalSet child = root;
    child.offset = 300;
    child.depth = 1;
    child.instanceUID = MXF::Model::Bytes16{9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9};
    MXF::Model::Item reference;
    reference.offset = 120;
    reference.tag = 0x3b03;
    reference.value = MXF::Model::Value::text(MXF::Values::uuidText(*child.instanceUID));
    MXF::Model::Item hostile;
    hostile.offset = 140;
    hostile.tag = 0xff01;
    hostile.value = MXF::Model::Value::text("<script>alert(1)</script>&\"'\x01");
    MXF::Model::Item many;
    many.offset = 160;
    many.tag = 0xff02;
    std::vector<MXF::Model::Value> numbers;
    for (int i = 0; i < 65; ++i) {
        numbers.push_back(MXF::Model::Value::unsignedInteger(1000 + static_cast<unsigned>(i)));
    }
    many.value = MXF::Model::Value::list(numbers);
    root.items = {reference, hostile, many};
    MXF::Model::Item raw;
    raw.offset = 320;
    raw.tag = 0xff03;
    raw.bytes = {0xde, 0xad};
    child.items = {raw};
    header.sets = {root, child};
    header.findings.push_back(
        {"bad-size", 300, "Child", 0xff03, "Raw", "<b>2 bytes</b>", MXF::Model::Severity::Warning});
    header.findings.push_back({"essence-track", std::nullopt, "", std::nullopt, "", "no offset",
                               MXF::Model::Severity::Error});
    return header;
}

std::string page(const MXF::Model::HeaderMetadata& header) {
    std::ostringstream out;
    MXF::Report::writePage(out, "dir/a<b>.mxf", header);
    return out.str();
}

}  // namespace

TEST(ReportPage, EscapesWhatTheFileSaysAndLinksReferences) {
    const std::string html = page(twoSets());
    EXPECT_EQ(count(html, "<script>"), 1u);  // its own, at the end
    EXPECT_NE(html.find("&lt;script&gt;alert(1)&lt;/script&gt;&amp;&quot;'\xef\xbf\xbd"),
              std::string::npos);
    EXPECT_NE(html.find("<h1>a&lt;b&gt;.mxf</h1>"), std::string::npos);
    EXPECT_NE(html.find("&lt;b&gt;2 bytes&lt;/b&gt;"), std::string::npos);
    // The reference leads to the set it names; the finding to its set, item and mark.
    EXPECT_NE(html.find("<a class=\"ref\" href=\"#s300\""), std::string::npos);
    EXPECT_NE(html.find("<a href=\"#i320\">Raw</a>"), std::string::npos);
    EXPECT_NE(html.find("id=\"m-f0\""), std::string::npos);
    EXPECT_EQ(html.find("id=\"m-f1\""), std::string::npos);  // no offset, no mark
    // Errors first, whatever the reader's order.
    EXPECT_LT(html.find("<tr id=\"f1\">"), html.find("<tr id=\"f0\">"));
    // 64 numbers of 65 shown, the last one said to be left out.
    EXPECT_NE(html.find("1063, … 1 more]"), std::string::npos);
    EXPECT_EQ(html.find("1064"), std::string::npos);
    EXPECT_NE(html.find("<td>dead <span class=\"meta\">2 bytes</span>\n"), std::string::npos);
    EXPECT_EQ(count(html, "<details class=\"set\""), 2u);
    EXPECT_EQ(count(html, "</details>"), 2u);
    EXPECT_EQ(html.find("http"), std::string::npos);  // nothing fetched
}

TEST(ReportPage, CutsALongValueOnACharactersFirstByte) {
    // 2,048 bytes are shown; the cut falls one byte into the first "é".
    for (const std::size_t ascii : {2047u, 2048u}) {
        SCOPED_TRACE(ascii);
        MXF::Model::HeaderMetadata header = twoSets();
        header.sets[0].items[1].value =
            MXF::Model::Value::text(std::string(ascii, 'a') + "\xc3\xa9\xc3\xa9");
        const std::string html = page(header);
        EXPECT_NE(html.find("<td>" + std::string(ascii, 'a') + "…\n"), std::string::npos);
    }
}

TEST(ReportPage, FoldsMoreRegionsThanABarShows) {
    for (const std::size_t regions : {240u, 241u, 10000u}) {
        SCOPED_TRACE(regions);
        MXF::Model::HeaderMetadata header = twoSets();
        header.walk.emplace();
        for (std::size_t i = 0; i < regions; ++i) {
            header.walk->regions.push_back(
                {i % 2 ? MXF::Model::Region::Kind::Essence : MXF::Model::Region::Kind::Fill,
                 10 * i,
                 10,
                 1,
                 0,
                 {},
                 0});
        }
        header.fileSize = 10 * regions;
        const std::string html = page(header);
        const std::size_t bands = count(html, "<a class=\"band ");
        EXPECT_EQ(bands, regions == 240
                             ? 240u
                             : (regions + (regions + 239) / 240 - 1) / ((regions + 239) / 240));
        // Folded bands are of both kinds; a last band of one region is not.
        const std::size_t mixed = count(html, "class=\"band k-mixed\"");
        EXPECT_EQ(mixed, regions == 240 ? 0u : regions == 241 ? bands - 1 : bands);
        // The last band ends where the file does.
        const std::string last = regions == 240 ? "2,399" : regions == 241 ? "2,409" : "99,999";
        EXPECT_NE(html.find("to " + last + " "), std::string::npos);
    }
}

TEST(ReportPage, ShowsARefusalAndNoTree) {
    const MXF::Model::FileRefused refusal("bad-primer", 1234, "a primer pack <broken>", __FILE__,
                                          __LINE__);
    std::ostringstream out;
    MXF::Report::writeRefusedPage(out, "x.mxf", 5000, refusal);
    const std::string html = out.str();
    EXPECT_NE(html.find("<strong>bad-primer</strong> at offset 1,234: a primer pack "
                        "&lt;broken&gt;"),
              std::string::npos);
    EXPECT_EQ(html.find("<details"), std::string::npos);
    EXPECT_NE(html.find("id=\"m-refusal\""), std::string::npos);
}

TEST(ReportIndex, RowsSayEachFilesState) {
    const MXF::Model::HeaderMetadata header = twoSets();
    const MXF::Model::FileRefused refusal("no-partition", 0, "no header partition pack", __FILE__,
                                          __LINE__);
    const std::vector<MXF::Report::IndexRow> rows = {
        MXF::Report::indexRow("a&b.mxf", "a&b.html", header),
        MXF::Report::refusedIndexRow("c.mxf", "c.html", 77, refusal),
        // A Latin-1 name from an old file server: shown with U+FFFD, linked by its bytes.
        MXF::Report::indexRow("dir/caf\xe9 #1.mxf", "dir/caf\xe9 #1.html", header)};
    EXPECT_EQ(rows[0].errors, 1u);
    EXPECT_EQ(rows[0].warnings, 1u);
    EXPECT_EQ(rows[0].info, 0u);
    EXPECT_EQ(rows[1].refusal, "no-partition at offset 0: no header partition pack");
    std::ostringstream out;
    MXF::Report::writeIndex(out, "<all>", rows);
    const std::string html = out.str();
    EXPECT_NE(html.find("<a href=\"a%26b.html\">a&amp;b.mxf</a>"), std::string::npos);
    EXPECT_NE(html.find("<a href=\"dir/caf%E9%20%231.html\">dir/caf\xef\xbf\xbd #1.mxf</a>"),
              std::string::npos);
    EXPECT_NE(html.find("<tr class=\"refused\" data-refused=\"1\""), std::string::npos);
    EXPECT_NE(html.find("3 files · 1 refused · 2 with errors · 0 with warnings"),
              std::string::npos);
    EXPECT_NE(html.find("<h1>&lt;all&gt;</h1>"), std::string::npos);
}
