#include "commands/field_text.h"

#include <fmt/format.h>

#include "terminal/text.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kBytesShown = 8;  // of a field; only text and bytes have more
constexpr std::size_t kBytesWidth = 3 * kBytesShown - 1;
constexpr std::size_t kNameWidth = 21;

std::string bytes_text(std::span<const unsigned char> bytes) {
    return fmt::format("{:02x}", fmt::join(bytes, " "));
}

}  // namespace

std::string field_line(const FieldValue &field) {
    const bool more = field.bytes.size() > kBytesShown;
    const std::string bytes =
        more ? bytes_text(field.bytes.first(kBytesShown - 1)) + " .." : bytes_text(field.bytes);
    return fmt::format("{:<{}}  {:<{}}  {}", bytes, kBytesWidth, field.name(), kNameWidth,
                       field.text());
}

std::string entry_line(const Record &entry) {
    std::string values;
    for_each_field(entry, [&values](const FieldValue &field) {
        values +=
            fmt::format("{}{} {}", values.empty() ? "" : ", ", field.field->name, field.text());
    });
    return fmt::format("{:<{}}  entry[{}]  {}", bytes_text(entry.bytes), kBytesWidth, entry.entry,
                       values);
}

void for_each_line(const Record &record,
                   const std::function<void(std::int64_t, const std::string &)> &take) {
    if (record.entry >= 0) {
        take(record.pos, entry_line(record));
        return;
    }
    for_each_field(record, [&](const FieldValue &field) { take(field.pos, field_line(field)); });
}

Json value_json(const FieldValue &field) {
    switch (field.field->shown) {
    case Shown::number:
    case Shown::flags:
        return field.number();
    case Shown::signed_number:
        return field.signed_number();
    case Shown::fourcc:
    case Shown::text:
        return text_of({reinterpret_cast<const char *>(field.bytes.data()), field.bytes.size()});
    case Shown::bytes:
        break;
    }
    return hex_of(field.bytes);
}

Json field_json(const FieldValue &field) {
    const std::string term = field.field->terms.empty() ? "" : field.term();
    return {{"name", field.field->name},
            {"offset", field.pos},
            {"width", field.bytes.size()},
            {"value", value_json(field)},
            {"term", term.empty() ? Json() : Json(term)}};
}

Json entry_json(const Record &entry) {
    Json json = {{"offset", entry.pos}};
    for_each_field(entry, [&json](const FieldValue &field) {
        json[std::string(field.field->name)] = value_json(field);
    });
    return json;
}
