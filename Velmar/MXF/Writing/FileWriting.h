#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Writing/HeaderMetadataEditing.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace Velmar::MXF::Writing {

// In place, the header metadata does not fit the room its partition gives it (the metadata
// read and the fill after it): nothing was written. `needed` is how many bytes more it takes.
class NoRoom : public EditRefused {
  public:
    NoRoom(const std::string& message, std::uint64_t needed, const char* sourceFile,
           int sourceLine);
    ~NoRoom() override;
    std::uint64_t needed() const { return needed_; }

  private:
    std::uint64_t needed_;
};

// A file written that does not read back as it should (its header metadata differs from what
// was written, or it has a finding the file it came from had not): nothing was left in its
// place, or, in place, the old bytes were put back.
class WriteFailed : public EditRefused {
  public:
    WriteFailed(const std::string& message, const char* sourceFile, int sourceLine);
    ~WriteFailed() override;
};

struct WriteOptions {
    // Where to write: a new file (written beside it under a temporary name and renamed when
    // whole; it may be the source itself), or, when empty, the source file in place.
    std::string output;
    // Fill left after the header metadata where a new file has to give it more room than the
    // source had, so that later edits of about this size fit in place.
    std::uint64_t room = 8192;
    // Also walk every packet of the file written, as a read with ReadOptions::walk does, and
    // hold its findings against the source's: always for a new file; in place, where the edit
    // changes what the walk holds the essence against (sets added or removed, track numbers,
    // essence containers, the items linking packages to their essence), or where asked. A walk
    // costs a read of every packet's key and length, which an edit in place does not otherwise
    // touch.
    bool walkInPlace = false;
    // Called before each step that changes a file ("write", "sync", "rename"), with the
    // step's name: a test stops the process there to see what such a stop leaves.
    std::function<void(const char* step)> beforeStep;
};

struct WriteReport {
    // Where each copy of the header metadata was written (the partition's offset).
    std::vector<std::uint64_t> partitions;
    std::uint64_t metadataBytes = 0;  // the header metadata written, fill aside
    std::uint64_t bytesWritten = 0;   // to the file written, all told
    // What came after a copy moved (the file was rewritten with more room), by this many bytes
    // at the end; 0 where every copy fit where it was.
    std::uint64_t moved = 0;
};

// Writes header metadata (read from `source`, then edited) into the file: every partition that
// carries a copy gets it, padded with fill to the room it had. Where that room is too small,
// in place is refused (NoRoom), and a new file is laid out with more room (WriteOptions::room,
// aligned to the KAG), every partition pack's offsets, header byte counts and the random index
// pack updated; essence, index tables and every other packet are copied byte for byte.
// Before anything is written, the file as it would be is read back and must give the header
// metadata written, set by set and item by item, with no finding the source had not; after
// writing, the file itself is read back the same way. In place, the old bytes of every region
// to be written first go to a journal beside the file (synced with its folder); then the copies
// are written, the copy the reader chooses last, and synced; then the journal is removed. Any
// error puts the old bytes back; a process stopped at any step leaves the journal, which the
// next edit or recoverFile rolls back: the file is then the old one or the new one, byte for
// byte. Steps told to beforeStep: "journal", "write" (each copy), "sync", "unjournal".
WriteReport writeFile(const char* source, const Model::HeaderMetadata& header,
                      const SDK::MetaMetadata::Dictionary& dictionary,
                      const WriteOptions& options = WriteOptions());

// What recoverFile did: nothing where no journal was beside the file.
struct Recovery {
    bool rolledBack = false;
    std::size_t regions = 0;
    std::string journal;  // its path, where one was rolled back
};

// An edit in place cut short (killed, the power lost, a write refused and not undone) leaves
// its journal beside the file: the old bytes of every region written. This puts them back and
// removes the journal; writeFile does it first for the file it edits in place. A journal that
// does not verify (torn, changed, of another file) is never applied: WriteFailed says why, and
// the journal is left.
Recovery recoverFile(const char* path);

// Where two header metadatas differ, set by set (in tree order) and item by item (by label and
// stored bytes); empty where they do not.
std::string headerMetadataDifference(const Model::HeaderMetadata& a,
                                     const Model::HeaderMetadata& b);

}  // namespace Velmar::MXF::Writing
