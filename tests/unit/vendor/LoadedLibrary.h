// SPDX-License-Identifier: Apache-2.0
// A shared object that a test has loaded itself.
#pragma once

#include <dlfcn.h>

#include <stdexcept>
#include <string>

class LoadedLibrary {
public:
    explicit LoadedLibrary(const char* path) : handle(dlopen(path, RTLD_NOW)) {
        if (handle == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }
    ~LoadedLibrary() { dlclose(handle); }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    template <typename Function>
    Function* Find(const char* name) const {
        void* const symbol = dlsym(handle, name);
        if (symbol == nullptr) {
            throw std::runtime_error(dlerror());
        }
        return reinterpret_cast<Function*>(symbol);
    }

private:
    void* handle;
};
