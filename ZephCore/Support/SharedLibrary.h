#pragma once

namespace zeph {

// A system library opened for good, for the functions that only some runs call.
class SharedLibrary {
public:
    explicit SharedLibrary(const char* name);

    // Points `function` at the library's `symbol`; false when either is missing.
    template <typename Function> bool resolve(const char* symbol, Function& function) const
    {
        function = reinterpret_cast<Function>(address(symbol));
        return function != nullptr;
    }

private:
    void* address(const char* symbol) const;

    void* m_handle;
};

} // namespace zeph
