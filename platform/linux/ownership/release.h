// Ownership of a C library's handle through its type: the type names the call that gives it back.
//     using File = std::unique_ptr<FILE, Release<fclose>>;
#pragma once

#include <memory>

template <auto release>
struct Release {
    template <typename T>
    void operator()(T* handle) const {
        release(handle);
    }
};
