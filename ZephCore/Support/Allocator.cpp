#include "Support/Allocator.h"

#include <malloc.h>

namespace zeph {

void tuneAllocatorForDocuments()
{
    mallopt(M_MXFAST, 0);
}

} // namespace zeph
