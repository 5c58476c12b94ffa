#pragma once
// How the Linux back end names this machine: like Windows, from local settings alone, so that
// a name server that does not answer never holds up a result.

#include <string>

namespace Shared::Util {

// The first name on the line of `hosts` (/etc/hosts text) that lists hostName, when that name
// is qualified and not a loopback alias ("localhost…"); else a qualified hostName itself; else
// hostName with the domain of `resolvConf` (/etc/resolv.conf text: `domain`, else the first
// `search` entry); else hostName. "vm" + "127.0.1.1 vm.lab.example vm" => "vm.lab.example";
// "vm" + "search lab.example corp.example" => "vm.lab.example".
std::string FullyQualifiedName(const std::string& hostName, const std::string& hosts,
                               const std::string& resolvConf);

}  // namespace Shared::Util
