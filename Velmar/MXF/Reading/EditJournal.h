#pragma once

// An edit's journal: the old bytes of every region an edit in place writes, kept beside the
// file until the edit is whole, so that an edit cut short (a kill, a power loss, an error) can
// be put back. The reader reports one it finds; the writer writes, rolls back and removes it.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::Reading {

struct EditJournal {
    struct Region {
        std::uint64_t offset = 0;
        std::vector<std::uint8_t> bytes;  // as they were before the edit
    };
    std::uint64_t fileSize = 0;  // before the edit
    std::uint64_t device = 0;    // the file's, so that a journal is never put on another
    std::uint64_t inode = 0;
    std::vector<Region> regions;
};

// Where a file's journal lies: ".NAME.xsddict-journal" in its folder.
std::string editJournalPath(const std::string& file);

// The journal's bytes: a magic, the file's size and identity, each region, and a digest of all
// of it.
std::vector<std::uint8_t> editJournalBytes(const EditJournal& journal);

// The journal beside a file, checked whole: none where there is none. A journal that is torn,
// whose digest is wrong or that was written for another file is refused (`why` says which) and
// never applied.
struct UnverifiedJournal {
    std::string why;
};
std::optional<EditJournal> readEditJournal(const std::string& file);  // throws UnverifiedJournal

// The finding a read gives a file with a journal beside it (interrupted-edit), or none.
std::optional<Model::Finding> interruptedEdit(const std::string& file);

}  // namespace Velmar::MXF::Reading
