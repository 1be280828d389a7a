#pragma once

// Kept for one release: the model is in "Velmar/MXF/Model/HeaderMetadata.h" (Velmar::MXF::Model),
// the reader in "Velmar/MXF/Reading/Reader.h" (Velmar::MXF::Reading), the text forms in
// "Velmar/MXF/Values/Text.h" (Velmar::MXF::Values) and the rules' severities in
// "Velmar/MXF/Checking/Rules.h" (Velmar::MXF::Checking).
#include "Velmar/MXF/Checking/Rules.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/Values/Text.h"

namespace Velmar::MXF {
using Checking::ruleSeverity;
using Model::Bytes16;
using Model::FileDefinition;
using Model::FileRefused;
using Model::Finding;
using Model::HeaderMetadata;
using Model::IndexSegment;
using Model::Item;
using Model::LocalSet;
using Model::Partition;
using Model::Primer;
using Model::RandomIndexEntry;
using Model::Region;
using Model::Severity;
using Model::severityName;
using Model::UnreadPacket;
using Model::Value;
using Model::Walk;
using Reading::metadataPartitionNamed;
using Reading::readHeaderMetadata;
using Reading::ReadOptions;
using Values::dottedHex;
using Values::plainHex;
using Values::tagText;
using Values::uuidText;
}  // namespace Velmar::MXF
