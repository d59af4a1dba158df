#include "Support/MappedVector.h"

#include <sys/mman.h>

namespace zeph::MappedMemory {

namespace {

constexpr std::size_t hugePage = std::size_t { 2 } << 20;

std::size_t roundedUp(std::size_t bytes)
{
    return (bytes + hugePage - 1) / hugePage * hugePage;
}

} // namespace

void* reserve(std::size_t bytes)
{
    if (bytes == 0)
        return nullptr;
    // Only touched pages are backed, so a generous capacity costs address space, not memory.
    void* address = mmap(nullptr, roundedUp(bytes), PROT_READ | PROT_WRITE,
        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    verify(address != MAP_FAILED);
    if (bytes >= hugePage)
        madvise(address, roundedUp(bytes), MADV_HUGEPAGE);
    return address;
}

void release(void* address, std::size_t bytes)
{
    if (address)
        munmap(address, roundedUp(bytes));
}

} // namespace zeph::MappedMemory
