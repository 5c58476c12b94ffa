#pragma once
// Registry values for the life of the object, given as the text of a registry export. On Linux
// the settings reader is pointed at a temporary export file; on Windows the export is imported
// into the live registry with `reg import`, and the keys that the import created are removed.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include <unistd.h>

#if defined(_WIN32)
#include "Shared/src/System/shared.system-registry.hpp"
#endif

class ScopedRegistry {
public:
    explicit ScopedRegistry(const std::string& body) {
        path_ = (std::filesystem::temp_directory_path() /
                 ("hopr-registry-" + std::to_string(::getpid()) + "-" +
                  std::to_string(counter_++) + ".reg"))
                    .string();
        std::ofstream(path_, std::ios::binary)
            << "Windows Registry Editor Version 5.00\r\n\r\n" << body;
        Install(body);
    }
    ~ScopedRegistry() {
        Uninstall();
        std::remove(path_.c_str());
    }
    ScopedRegistry(const ScopedRegistry&) = delete;
    ScopedRegistry& operator=(const ScopedRegistry&) = delete;

private:
#if defined(_WIN32)
    static constexpr std::string_view kMachine = "[HKEY_LOCAL_MACHINE\\";

    // Every key of the export and each of its ancestors that does not exist yet, outermost first.
    void Install(const std::string& body) {
        std::size_t at = 0;
        while ((at = body.find(kMachine, at)) != std::string::npos) {
            const auto start = at + kMachine.size();
            const auto key = body.substr(start, body.find(']', start) - start);
            for (auto slash = key.find('\\'); ; slash = key.find('\\', slash + 1)) {
                const auto prefix = key.substr(0, slash);
                const std::wstring wide(prefix.begin(), prefix.end());
                if (!Shared::System::RegistryKeyExists(wide)) {
                    created_.push_back(prefix);
                }
                if (slash == std::string::npos) {
                    break;
                }
            }
            at = start;
        }
        std::system(("reg import \"" + path_ + "\" >NUL 2>&1").c_str());
    }
    void Uninstall() {
        for (const auto& key : created_) {
            std::system(("reg delete \"HKLM\\" + key + "\" /f >NUL 2>&1").c_str());
        }
    }
    std::vector<std::string> created_;
#else
    void Install(const std::string&) { ::setenv("HOPR_REGISTRY_FILE", path_.c_str(), 1); }
    void Uninstall() { ::setenv("HOPR_REGISTRY_FILE", "/nonexistent/hopr-registry.reg", 1); }
#endif
    static inline int counter_ = 0;
    std::string path_;
};
