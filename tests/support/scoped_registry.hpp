#pragma once
// Registry values for the life of the object, given as the text of a registry export. On Linux
// the settings reader is pointed at a temporary export file; on Windows the export is imported
// into the live registry with `reg import`, and removed again.

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <unistd.h>

class ScopedRegistry {
public:
    explicit ScopedRegistry(const std::string& body) {
        const auto name = "hopr-registry-" + std::to_string(::getpid()) + ".reg";
        path_ = (std::filesystem::temp_directory_path() / name).string();
        std::ofstream(path_, std::ios::binary)
            << "Windows Registry Editor Version 5.00\r\n\r\n" << body;
        Install();
    }
    ~ScopedRegistry() {
        Uninstall();
        std::remove(path_.c_str());
    }
    ScopedRegistry(const ScopedRegistry&) = delete;
    ScopedRegistry& operator=(const ScopedRegistry&) = delete;

private:
#if defined(_WIN32)
    // Every key a test writes lies under Velmora's, in the test run's own Wine prefix.
    void Install() { std::system(("reg import \"" + path_ + "\" >NUL 2>&1").c_str()); }
    void Uninstall() { std::system("reg delete \"HKLM\\SOFTWARE\\Velmora\" /f >NUL 2>&1"); }
#else
    void Install() { ::setenv("HOPR_REGISTRY_FILE", path_.c_str(), 1); }
    void Uninstall() { ::setenv("HOPR_REGISTRY_FILE", "/nonexistent/hopr-registry.reg", 1); }
#endif
    std::string path_;
};
