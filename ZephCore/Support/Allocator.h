#pragma once

namespace zeph {

// Documents are read into trees of many small blocks that are all freed together. glibc's fast
// bins make each such burst, and the next large request, consolidate the freed blocks: a quarter
// of the decoding of a large workflows document. Without fast bins the per-thread caches still
// serve small blocks. The programs that read documents call this first, and so do their benchmarks.
void tuneAllocatorForDocuments();

} // namespace zeph
