// Programs written against the headers' old places and names still build and mean the same.
#include <gtest/gtest.h>

#include <type_traits>

#include "Velmar/MXF/FileRefused.h"
#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/MXF/Json.h"
#include "Velmar/MXF/RegXML.h"
#include "Velmar/MXF/RegXMLText.h"
#include "Velmar/MXF/Summary.h"
#include "Velmar/MXF/Value.h"
#include "Velmar/MXF/ValueEncoding.h"
#include "Velmar/MXF/Writing/RegXMLReading.h"

namespace MXF = Velmar::MXF;

static_assert(std::is_same_v<MXF::HeaderMetadata, MXF::Model::HeaderMetadata>);
static_assert(std::is_same_v<MXF::Severity, MXF::Model::Severity>);
static_assert(std::is_same_v<MXF::FileRefused, MXF::Model::FileRefused>);
static_assert(std::is_same_v<MXF::ReadOptions, MXF::Reading::ReadOptions>);
static_assert(std::is_same_v<MXF::FileSummary, MXF::Report::FileSummary>);
static_assert(std::is_same_v<MXF::ValueRefused, MXF::Values::ValueRefused>);
static_assert(std::is_same_v<MXF::RegXMLOptions, MXF::RegXML::RegXMLOptions>);

TEST(ForwardingHeaders, OldNamesCallTheNewFunctions) {
    const MXF::Bytes16 label{0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01,
                             0x01, 0x01, 0x15, 0x02, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(MXF::dottedHex(label.data(), 16), MXF::Values::dottedHex(label.data(), 16));
    EXPECT_EQ(MXF::RegXMLText::ul(label.data()),
              "urn:smpte:ul:060e2b34.01010101.01011502.00000000");
    EXPECT_EQ(MXF::ruleSeverity("kag-alignment"), MXF::Severity::Warning);
    EXPECT_EQ(MXF::metadataPartitionNamed("footer"), MXF::ReadOptions::Metadata::Footer);
    EXPECT_EQ(&MXF::Writing::applyRegXML, &MXF::RegXML::applyRegXML);
}
