#include "Support/SharedLibrary.h"

#include <dlfcn.h>

namespace zeph {

SharedLibrary::SharedLibrary(const char* name)
    : m_handle(dlopen(name, RTLD_NOW | RTLD_LOCAL))
{
}

void* SharedLibrary::address(const char* symbol) const
{
    return m_handle ? dlsym(m_handle, symbol) : nullptr;
}

} // namespace zeph
