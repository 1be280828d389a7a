#pragma once

#include <cstddef>

namespace xsddict {

// A run loads a dictionary of megabytes into heap memory the process has never touched, and a
// virtual machine hands such memory over a page fault at a time, at a cost that can exceed
// the load itself (18 ms against 3 for the register dictionary here). This makes `bytes` of
// heap present in one call and leaves it to the allocations that follow: the program's own
// choice of malloc behaviour, for a process that lives as long as one command.
void warmHeap(std::size_t bytes);

// The heap a compiled dictionary of this file size takes once loaded and a file read, roughly:
// the register's 1.27 MB (its registered types and labels, kept as packed texts, are half the
// file and take little heap) take 3.6 MB, and a read a few hundred KB more. Pages beyond it come
// one fault at a time; pages warmed and never used cost their zeroing.
std::size_t compiledDictionaryHeap(std::size_t fileSize);

}  // namespace xsddict
