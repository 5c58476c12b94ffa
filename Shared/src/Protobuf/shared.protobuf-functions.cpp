#include "Shared/src/Protobuf/shared.protobuf-functions.hpp"

#include <fmt/format.h>
#include <google/protobuf/util/json_util.h>

#include "Shared/src/Exception/shared.exception-baseexception.hpp"

namespace Shared::Protobuf {

std::string GenerateJSONFrom(const google::protobuf::Message& message, bool addWhitespace) {
    google::protobuf::util::JsonPrintOptions options;
    options.add_whitespace = addWhitespace;
    options.always_print_primitive_fields = true;
    options.always_print_enums_as_ints = true;
    options.preserve_proto_field_names = false;
    std::string text;
    const auto status = google::protobuf::util::MessageToJsonString(message, &text, options);
    if (!status.ok()) {
        throw Shared::Exception::RuntimeError(fmt::format(
            "MessageToJsonString() failed to serialise JSON: {}", std::string(status.message())));
    }
    return text;
}

}  // namespace Shared::Protobuf
