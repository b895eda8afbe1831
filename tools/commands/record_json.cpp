#include "commands/record_json.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "chunks/stream_words.h"
#include "terminal/text.h"
#include "terminal/utf8.h"

namespace {

using Json = nlohmann::ordered_json;

// Of a loaded chunk no more is shown, however large it is.
constexpr std::uint64_t kMostHexBytes = 4096;

std::string buffer_hex(const unsigned char *data, std::uint64_t size) {
    if (data == nullptr) return {};
    return hex_of({data, static_cast<std::size_t>(std::min(size, kMostHexBytes))});
}

Json main_header(const AviMainHeader &header) {
    return {{"microseconds_per_frame", header.microseconds_per_frame},
            {"max_bytes_per_second", header.max_bytes_per_second},
            {"padding_granularity", header.padding_granularity},
            {"flags", header.flags},
            {"total_frames", header.total_frames},
            {"initial_frames", header.initial_frames},
            {"streams", header.streams},
            {"suggested_buffer_size", header.suggested_buffer_size},
            {"width", header.width},
            {"height", header.height},
            {"reserved", header.reserved}};
}

// The buffer holds `header` bytes more than the chunk's size says.
Json blob(const AviBlob &blob, std::uint64_t header) {
    return {{"present", blob.present},
            {"size", blob.size},
            {"data", buffer_hex(blob.data, blob.size + header)}};
}

Json stream_header(const AviStreamHeader &header) {
    return {{"type", text_of(header.type)},
            {"handler", text_of(header.handler)},
            {"flags", header.flags},
            {"priority", header.priority},
            {"language", header.language},
            {"initial_frames", header.initial_frames},
            {"scale", header.scale},
            {"rate", header.rate},
            {"start", header.start},
            {"length", header.length},
            {"suggested_buffer_size", header.suggested_buffer_size},
            {"quality", header.quality},
            {"sample_size", header.sample_size},
            {"frame", header.frame}};
}

Json row(const AviStreamRecord &stream) {
    return {{"kind", static_cast<std::uint32_t>(stream.kind)},
            {"track", stream.track},
            {"header", stream_header(stream.header)}};
}

Json row(const VideoTrack &track) {
    return {{"rate", track.rate},
            {"scale", track.scale},
            {"width", track.width},
            {"height", track.height},
            {"handler", text_of({track.handler, 4})},
            {"compression", text_of({track.compression, 4})},
            {"has_stream_data", track.has_stream_data},
            {"stream_data_word", track.stream_data_word},
            {"quality", track.quality},
            {"stream_data_size", track.stream_data_size},
            {"stream_data_pos", track.stream_data_pos},
            {"stream_data", buffer_hex(track.stream_data, track.stream_data_size)},
            {"name_length", track.name_length},
            {"name", text_of(name_of(track))}};
}

Json wave_format(const AviWaveFormat &format) {
    return {{"format_tag", format.format_tag},
            {"channels", format.channels},
            {"samples_per_second", format.samples_per_second},
            {"average_bytes_per_second", format.average_bytes_per_second},
            {"block_align", format.block_align},
            {"bits_per_sample", format.bits_per_sample},
            {"extra_size", format.extra_size},
            {"extra", hex_of(format.extra)}};
}

Json row(const AudioTrack &track) {
    return {{"format", wave_format(track.format)},
            {"initial_frames", track.initial_frames},
            {"scale", track.scale},
            {"rate", track.rate},
            {"start", track.start},
            {"sample_size", track.sample_size},
            {"name_length", track.name_length},
            {"name", text_of(name_of(track))}};
}

Json row(const TextTrack &track) {
    return {{"values", track.values},
            {"size", track.size},
            {"data", buffer_hex(track.data, track.size)}};
}

template <typename Row>
Json rows(std::span<const Row> used) {
    Json array = Json::array();
    for (const Row &one : used) array.push_back(row(one));
    return array;
}

Json super_index(std::size_t stream, std::int64_t pos, const SuperIndexInfo &info) {
    return {{"stream", stream},
            {"pos", pos},
            {"longs_per_entry", info.longs_per_entry},
            {"index_subtype", info.index_subtype},
            {"index_type", info.index_type},
            {"entries_in_use", info.entries_in_use},
            {"chunk_id", text_of(info.chunk_id)},
            {"reserved", info.reserved}};
}

Json super_indexes(const AviReaderState &reader) {
    Json array = Json::array();
    for (std::size_t i = 0; i < kAviSuperIndexes; ++i) {
        const std::int64_t pos = reader.super_index_pos[i];
        if (pos != 0) array.push_back(super_index(i, pos, reader.super_index[i]));
    }
    return array;
}

std::span<const AviStreamRecord> streams(const AviReaderState &reader) {
    return {reader.streams, static_cast<std::size_t>(reader.stream_count)};
}

Json whole_record(const std::string &path, const AviReaderState &reader) {
    return {{"file", json_path(path)},
            {"opened", true},
            {"file_size", reader.stream.size},
            {"open_option", reader.open_option},
            {"form_count", reader.form_count},
            {"total_frames_ext", reader.total_frames_ext},
            {"index_pos", reader.index_pos},
            {"movi_pos", reader.movi_pos},
            {"data_list_pos", reader.data_list_pos},
            {"menu_list_pos", reader.menu_list_pos},
            {"form_menu_pos", reader.form_menu_pos},
            {"data_list_present", reader.data_list_present},
            {"menu_list_present", reader.menu_list_present},
            {"main_header", main_header(reader.main_header)},
            {"data_blob", blob(reader.data_blob, 0)},
            {"menu_blob", blob(reader.menu_blob, 8)},
            {"form_menu_blob", blob(reader.form_menu_blob, 8)},
            {"streams", rows(streams(reader))},
            {"video", rows(reader.video.used())},
            {"bitmap_subtitle", rows(reader.bitmap_subtitle.used())},
            {"audio", rows(reader.audio.used())},
            {"text_subtitle", rows(reader.text_subtitle.used())},
            {"chapter", rows(reader.chapter.used())},
            {"super_index", super_indexes(reader)}};
}

}  // namespace

std::string record_json(const std::string &path, const AviReaderState *reader) {
    const Json json = reader == nullptr ? Json{{"file", json_path(path)}, {"opened", false}}
                                        : whole_record(path, *reader);
    return json.dump();
}
