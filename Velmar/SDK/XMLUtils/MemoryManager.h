#pragma once

#include <cstddef>

#include <xercesc/framework/MemoryManager.hpp>

namespace Velmar::SDK::XMLUtils {

// What the XML parser, its DOM and the XPath engine allocate with. Exhausted memory is the
// parser's OutOfMemoryException, which its own code passes up untouched, rather than a
// std::bad_alloc thrown through it; and tests can make any one allocation fail.
class MemoryManager : public xercesc::MemoryManager {
  public:
    // The process-wide manager, given to the parser library when it starts.
    static MemoryManager& instance();

    void* allocate(XMLSize_t size) override;
    void deallocate(void* p) override;
    // Exceptions are made with a manager that injects no faults, so that reporting one
    // failure never fails in turn.
    xercesc::MemoryManager* getExceptionMemoryManager() override;
};

// What the XPath engine allocates with. The engine allocates inside some of its destructors
// (releasing a string to its cache), where a failure would end the process; so a failed
// allocation is answered from a reserve and noted, and the caller raises it as exhausted
// memory once the engine call has returned (raiseIfExhausted). Only when the reserve is used
// up too does an allocation fail inside the engine.
class EngineMemoryManager : public MemoryManager {
  public:
    static EngineMemoryManager& instance();

    void* allocate(XMLSize_t size) override;
    void deallocate(void* p) override;
    // Throws the parser's OutOfMemoryException if this thread's engine work was served from
    // the reserve since the last call.
    static void raiseIfExhausted();

  private:
    EngineMemoryManager() = default;
    bool inReserve(const void* p) const;
};

// The memory of one parser and the documents it makes, which live and die with it. After
// exhausted memory the parser leaves some of its objects unreleased on purpose (cleaning up
// could fail again); what is still allocated here when the parser is gone is freed then, so a
// failed load gives back everything it took.
//
// Large requests, which are the documents' node storage in blocks of half a megabyte, are
// carved from regions of their own whose pages are made present a few blocks ahead, in one
// call each time: a large DOM is touched once when it is built, and a page fault for each of
// its pages was a fifth of a load's time in a virtual machine. Huge pages are not asked for: a
// guest that hands free memory back to its host in blocks of their size gets them from memory
// the host must supply again, which cost more than the faults they save. A region is given back
// when its last block is freed, kept for the next parse in this process up to a bound.
class ArenaMemoryManager : public MemoryManager {
  public:
    ArenaMemoryManager() = default;
    ~ArenaMemoryManager() override;
    ArenaMemoryManager(const ArenaMemoryManager&) = delete;
    ArenaMemoryManager& operator=(const ArenaMemoryManager&) = delete;

    void* allocate(XMLSize_t size) override;
    void deallocate(void* p) override;
    // How many regions this arena holds now.
    std::size_t regionCount() const;

  private:
    // Before each allocation. A block from a region has no previous and its region as next.
    struct Block {
        Block* previous;
        Block* next;
    };
    struct Region;
    void* allocateLarge(XMLSize_t size);
    void deallocateLarge(Region* region);
    // Unlinks the region and gives it back: to the pool of emptied regions while it has room.
    void release(Region* region);
    static_assert(sizeof(Block) % alignof(std::max_align_t) == 0 ||
                      alignof(std::max_align_t) % sizeof(Block) == 0,
                  "blocks keep the alignment of what they hold");
    Block head_{&head_, &head_};
    Region* regions_ = nullptr;  // the newest first; large requests are carved from it
};

}  // namespace Velmar::SDK::XMLUtils
