#include "Shared/src/Util/shared.util-system.hpp"
#include "Shared/src/Util/shared.util-system_linux.hpp"

#include <sys/utsname.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <vector>

#include "Shared/src/Exception/shared.exception-codeexceptions.hpp"
#include "Shared/src/Util/shared.util-strings.hpp"

namespace Shared::Util {
namespace {

using Words = std::vector<std::string>;

// Each line's words, comments left out.
std::vector<Words> Lines(const std::string& text) {
    std::vector<Words> lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);) {
        std::istringstream words(line.substr(0, line.find_first_of("#;")));
        lines.emplace_back(std::istream_iterator<std::string>(words),
                           std::istream_iterator<std::string>());
    }
    return lines;
}

bool IsQualified(const std::string& name) {
    return name.find('.') != std::string::npos;
}

std::optional<std::string> HostsName(const std::string& hostName, const std::string& hosts) {
    for (const auto& words : Lines(hosts)) {
        const bool listed = words.size() > 1 && std::find(words.begin() + 1, words.end(),
                                                          hostName) != words.end();
        if (listed && IsQualified(words[1]) && !words[1].starts_with("localhost")) {
            return words[1];
        }
    }
    return std::nullopt;
}

std::optional<std::string> ResolverDomain(const std::string& resolvConf) {
    std::optional<std::string> search;
    for (const auto& words : Lines(resolvConf)) {
        if (words.size() > 1 && words[0] == "domain") {
            return words[1];
        }
        if (words.size() > 1 && words[0] == "search" && !search) {
            search = words[1];
        }
    }
    return search;
}

std::string ReadText(const char* path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

}  // namespace

std::string FullyQualifiedName(const std::string& hostName, const std::string& hosts,
                               const std::string& resolvConf) {
    if (const auto listed = HostsName(hostName, hosts)) {
        return *listed;
    }
    const auto domain = ResolverDomain(resolvConf);
    return IsQualified(hostName) || !domain ? hostName : hostName + "." + *domain;
}

std::wstring GetHostname(ComputerNameFormat format) {
    utsname names{};
    if (::uname(&names) != 0) {
        throw Shared::Exception::Win32Exception("GetComputerNameEx() failed",
                                                static_cast<std::uint32_t>(errno));
    }
    const std::string name = names.nodename;
    if (format != ComputerNameFormat::DnsFullyQualified) {
        return ConvertStringType(name);
    }
    return ConvertStringType(
        FullyQualifiedName(name, ReadText("/etc/hosts"), ReadText("/etc/resolv.conf")));
}

}  // namespace Shared::Util
