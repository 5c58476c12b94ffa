#pragma once

#include <string>

#include <google/protobuf/message.h>

namespace Shared::Protobuf {

// The message as JSON: lowerCamelCase names, default-valued fields printed, enums as numbers;
// indented when `addWhitespace`. Throws the base exception when serialisation fails.
std::string GenerateJSONFrom(const google::protobuf::Message& message, bool addWhitespace);

}  // namespace Shared::Protobuf
