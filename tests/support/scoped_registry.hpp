#pragma once
// Points the settings reader at a temporary registry export for the life of the object.

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

class ScopedRegistry {
public:
    explicit ScopedRegistry(const std::string& body, bool withHeader = true) {
        char name[] = "/tmp/hopr-registry-XXXXXX";
        const int fd = ::mkstemp(name);
        ::close(fd);
        path_ = name;
        std::ofstream(path_, std::ios::binary)
            << (withHeader ? "Windows Registry Editor Version 5.00\r\n\r\n" : "") << body;
        ::setenv("HOPR_REGISTRY_FILE", path_.c_str(), 1);
    }
    ~ScopedRegistry() {
        ::setenv("HOPR_REGISTRY_FILE", "/nonexistent/hopr-registry.reg", 1);
        std::remove(path_.c_str());
    }
    ScopedRegistry(const ScopedRegistry&) = delete;
    ScopedRegistry& operator=(const ScopedRegistry&) = delete;

private:
    std::string path_;
};
