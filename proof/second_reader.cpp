// The open: the pass over the whole file, the search for the index, the walk of the first form.

#include "proof/second_reader.h"

#include "proof/second_stream.h"

namespace second {
namespace {

// Gives a chunk a buffer of `length` bytes from `pos` on, in place of an earlier one. What the file
// holds of it is fetched when the open is done, since a later chunk may replace it. False, and the
// blob is then empty, when such a buffer cannot be had.
bool place(Buffer &blob, std::uint64_t length, std::int64_t pos) {
    if (length > kLargestBuffer) {
        blob = {};
        return false;
    }
    blob.length = length;
    blob.pos = pos;
    return true;
}

void fetch(Buffer &blob, Stream stream) {
    stream.seek(blob.pos, kFromStart);
    const auto bytes = stream.read(blob.length);
    blob.held.assign(bytes.begin(), bytes.end());
}

// The chunks of a top-level menu form, up to the form's end or the end of the file, each stepped
// over without a pad byte. An "MRIF" counts as a form, a "MENU" is loaded with its header.
void load_form_menu(Reader &reader, std::int64_t form_end) {
    Stream &stream = reader.stream;
    Record &record = reader.record;
    Buffer &blob = record.form_menu_blob;
    record.form_menu_pos = stream.tell();
    while (stream.tell() < form_end) {
        std::uint32_t id = 0;
        std::uint32_t size = 0;
        if (read_fourcc(stream, id)) return;
        if (fourcc_equal(id, fourcc("MENU"))) {
            if (read_u32(stream, blob.size)) return;
            blob.present = true;
            // Eight bytes back from wherever the reading of the size ended.
            stream.seek(-8, kFromCurrent);
            if (!place(blob, std::uint64_t{blob.size} + 8, stream.tell())) return;
            read_past(stream, blob.length);
            continue;
        }
        if (fourcc_equal(id, fourcc("MRIF"))) record.form_count += 1;
        if (read_u32(stream, size)) return;
        stream.seek(size, kFromCurrent);
    }
}

// The first pass, over all top-level chunks: counts the forms and loads the menu of a menu form.
// No chunk has a pad byte here.
bool scan_forms(Reader &reader) {
    Stream &stream = reader.stream;
    std::int64_t offset = 0;
    do {
        const std::int64_t start = offset;
        std::uint32_t id = 0;
        std::uint32_t size = 0;
        stream.seek(start, kFromStart);
        if (read_fourcc(stream, id)) return reader.refuse(Reason::top_level_cut_short, start);
        if (!fourcc_equal(id, fourcc("RIFF"))) {
            if (read_u32(stream, size)) return reader.refuse(Reason::top_level_cut_short, start);
            offset += std::int64_t{size} + 8;
            continue;
        }
        reader.record.form_count += 1;
        // A form whose size cannot be read is the last: its size is taken as 0.
        read_u32(stream, size);
        offset += std::int64_t{size} + 8;
        // The type of the form's first list tells a menu form; what stands before it does not
        // matter.
        std::uint32_t list_type = 0;
        stream.seek(12, kFromCurrent);
        read_fourcc(stream, list_type);
        if (fourcc_equal(list_type, fourcc("QMNU"))) load_form_menu(reader, offset);
    } while (stream.size() > offset);
    return true;
}

// The second pass: the position of the first index chunk at the first level of the first form.
// Lists are stepped over.
void find_index(Reader &reader) {
    Stream &stream = reader.stream;
    Node &form = *reader.chunk_top;
    while (!form.error && !chunk_at_end(stream, form)) {
        const std::uint32_t id = chunk_next(stream, form);
        if (form.error) return;
        if (fourcc_equal(id, fourcc("idx1")) || fourcc_equal(id, fourcc("1idx"))) {
            reader.record.index_pos = stream.tell();
            return;
        }
    }
}

// A walk that heeds no error steps on past the end of the file, eight bytes at a time and with
// nothing to read, until the end test holds. This goes there at once. False while the next
// sub-chunk still lies in the file.
bool step_past_file(Stream &stream, Node &list) {
    if (list.cursor < stream.size()) return false;
    const std::int64_t end = list.start + static_cast<std::int64_t>(list.size);
    if (list.cursor < end) list.cursor += (end - list.cursor + 7) / 8 * 8;
    stream.seek(list.cursor, kFromStart);
    list.cursor += 8;
    list.error |= 1;
    return true;
}

// The rest of a walk whose loader has stopped because a buffer could not be had. The stream stays
// where the loader left it, except in a list of the largest size: there it goes to where the whole
// walk would have ended.
void stop_loading(Stream &stream, Node &list) {
    if (list.size != 0xFFFFFFFF) return;
    while (!chunk_at_end(stream, list))
        if (!step_past_file(stream, list)) chunk_next(stream, list);
}

// The walk of a "QRDT" list: the payload of its last "MTDA" is loaded, without its header. Errors
// only keep a chunk from being marked present; nothing but the end test ends the walk.
void load_data_chunk(Reader &reader) {
    Stream &stream = reader.stream;
    Node &list = *reader.chunk_top;
    Buffer &blob = reader.record.data_blob;
    blob = {};
    int sum = 0;
    while (!chunk_at_end(stream, list)) {
        if (step_past_file(stream, list)) continue;
        if (!fourcc_equal(chunk_next(stream, list), fourcc("MTDA"))) continue;
        std::uint32_t id = 0;
        sum |= read_fourcc(stream, id);
        sum |= read_u32(stream, blob.size);
        if (sum == 0) blob.present = true;
        if (!place(blob, blob.size, stream.tell())) return stop_loading(stream, list);
        sum |= read_past(stream, blob.length);
    }
}

// The walk of a "QMNU" list: its last "MENU" is loaded with its header, each "MRIF" counts as a
// form. Errors matter as little as in a "QRDT" list.
void load_menu_list(Reader &reader) {
    Stream &stream = reader.stream;
    Node &list = *reader.chunk_top;
    Buffer &blob = reader.record.menu_blob;
    blob = {};
    int sum = 0;
    while (!chunk_at_end(stream, list)) {
        if (step_past_file(stream, list)) continue;
        const std::uint32_t next = chunk_next(stream, list);
        if (fourcc_equal(next, fourcc("MENU"))) {
            const std::int64_t pos = stream.tell();
            std::uint32_t id = 0;
            sum |= read_fourcc(stream, id);
            sum |= read_u32(stream, blob.size);
            if (sum == 0) blob.present = true;
            if (!place(blob, std::uint64_t{blob.size} + 8, pos)) return stop_loading(stream, list);
            stream.seek(pos, kFromStart);
            sum |= read_past(stream, blob.length);
        } else if (fourcc_equal(next, fourcc("MRIF"))) {
            reader.record.form_count += 1;
        }
    }
}

// "avih": 56 bytes are read whatever its size says, and fields that the file does not hold stay as
// they were. What a larger one has more is stepped over, without a pad byte.
int read_main_header(MainHeader &header, Stream &stream) {
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    int status = 0;
    status |= read_fourcc(stream, id);
    status |= read_u32(stream, size);
    status |= read_u32(stream, header.microseconds_per_frame);
    status |= read_u32(stream, header.max_bytes_per_second);
    status |= read_u32(stream, header.padding_granularity);
    status |= read_u32(stream, header.flags);
    status |= read_u32(stream, header.total_frames);
    status |= read_u32(stream, header.initial_frames);
    status |= read_u32(stream, header.streams);
    status |= read_u32(stream, header.suggested_buffer_size);
    status |= read_u32(stream, header.width);
    status |= read_u32(stream, header.height);
    for (std::uint32_t &value : header.reserved) status |= read_u32(stream, value);
    const auto signed_size = static_cast<std::int32_t>(size);
    if (signed_size < 56) status |= 1;
    if (!fourcc_equal(id, fourcc("avih"))) status |= 1;
    if (signed_size > 56) status |= stream.seek(signed_size - 56, kFromCurrent);
    return status;
}

// The "odml" list: of its first sub-chunk the first value. One that the file does not hold changes
// nothing.
void read_extended_header(Reader &reader) {
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    read_fourcc(reader.stream, id);
    read_u32(reader.stream, size);
    read_u32(reader.stream, reader.record.total_frames_ext);
}

// The first sub-chunk of the "hdrl" list, which must be "avih". A list that its own end test ends
// here is too short whatever the file holds.
bool find_main_header(Reader &reader) {
    Stream &stream = reader.stream;
    Node &list = *reader.chunk_top;
    const std::uint32_t id = chunk_next(stream, list);
    const bool cut_short = list.error != 0;
    const bool too_short = chunk_at_end(stream, list);
    const bool other = !fourcc_equal(id, fourcc("avih"));
    if (too_short || other) list.error |= 1;
    if (too_short) return reader.refuse(Reason::header_list_too_short, list.start);
    if (cut_short) return reader.refuse(Reason::header_list_cut_short, list.start);
    if (other) return reader.refuse(Reason::no_main_header, stream.tell(), id);
    return true;
}

// The walk of the "hdrl" list. False when the file is to be refused.
bool parse_header_list(Reader &reader) {
    Stream &stream = reader.stream;
    Record &record = reader.record;
    Node &list = *reader.chunk_top;
    if (!find_main_header(reader)) return false;
    record.main_header_pos = stream.tell();
    read_main_header(record.main_header, stream);  // a short or failed one is taken as it is
    while (!list.error && !chunk_at_end(stream, list)) {
        if (!fourcc_equal(chunk_next(stream, list), fourcc("LIST"))) continue;
        if (!chunk_push(reader)) return reader.refuse(Reason::list_header_cut_short, stream.tell());
        const std::uint32_t type = reader.chunk_top->list_type;
        if (fourcc_equal(type, fourcc("strl"))) {
            if (!parse_stream_list(reader, record.open_option != 0)) return false;
        } else if (fourcc_equal(type, fourcc("odml"))) {
            read_extended_header(reader);
        }
        chunk_pop(reader);
    }
    if (list.error) return reader.refuse(Reason::header_list_cut_short, list.start);
    return true;
}

// Opens the first form and holds it to be one of type "AVI ".
bool check_first_form(Reader &reader) {
    reader.stream.seek(0, kFromStart);
    if (!chunk_push(reader))
        return reader.refuse(Reason::list_header_cut_short, reader.stream.tell());
    const Node &form = *reader.chunk_top;
    if (!fourcc_equal(form.id, fourcc("RIFF")) && !fourcc_equal(form.id, fourcc("MRIF")))
        return reader.refuse(Reason::not_a_form, 0, form.id);
    if (!fourcc_equal(form.list_type, fourcc("AVI ")))
        return reader.refuse(Reason::not_avi, 8, form.list_type);
    return true;
}

// The walk of the first form's lists, in file order, up to "movi", which is then left open.
bool walk_first_form(Reader &reader) {
    Stream &stream = reader.stream;
    Record &record = reader.record;
    Node &form = *reader.chunk_top;
    while (!form.error && !chunk_at_end(stream, form)) {
        if (!fourcc_equal(chunk_next(stream, form), fourcc("LIST"))) continue;
        if (!chunk_push(reader)) return reader.refuse(Reason::list_header_cut_short, stream.tell());
        const std::uint32_t type = reader.chunk_top->list_type;
        if (fourcc_equal(type, fourcc("QRDT"))) {
            record.data_list_pos = stream.tell();
            record.data_list_present = 1;
            load_data_chunk(reader);
        } else if (fourcc_equal(type, fourcc("QMNU"))) {
            record.menu_list_pos = stream.tell();
            record.menu_list_present = 1;
            load_menu_list(reader);
        } else if (fourcc_equal(type, fourcc("hdrl"))) {
            if (!parse_header_list(reader)) return false;
        } else if (fourcc_equal(type, fourcc("movi"))) {
            break;
        }
        chunk_pop(reader);
    }
    return true;
}

// The walk was good when it left a list open, and that list is not at its end already.
bool check_movi(Reader &reader) {
    const Node &last = *reader.chunk_top;
    const bool at_end = chunk_at_end(reader.stream, last);
    if (!last.error && !at_end) {
        reader.record.movi_pos = reader.stream.tell();
        return true;
    }
    if (last.parent) return reader.refuse(Reason::movi_too_short, last.start);
    return reader.refuse(at_end ? Reason::no_movi : Reason::form_cut_short, reader.stream.tell());
}

bool open(Reader &reader) {
    if (reader.stream.size() > 0 && !scan_forms(reader)) return false;
    if (!check_first_form(reader)) return false;
    find_index(reader);
    reader.chunk_top = nullptr;
    reader.stream.seek(0, kFromStart);
    if (!chunk_push(reader))
        return reader.refuse(Reason::list_header_cut_short, reader.stream.tell());
    return walk_first_form(reader) && check_movi(reader);
}

}  // namespace

Answer read(std::span<const std::uint8_t> file, std::uint32_t open_option) {
    Answer answer;
    Record &record = answer.record;
    record.file_size = file.size();
    record.open_option = open_option;
    Reader reader{Stream{file}, record};
    answer.opened = open(reader);
    if (!answer.opened) {
        answer.refusal = reader.refusal;
        record = {};
        return answer;
    }
    answer.position = reader.stream.tell();
    answer.movi = *reader.chunk_top;
    answer.form = *answer.movi.parent;
    answer.movi.parent = nullptr;
    fetch(record.data_blob, reader.stream);
    fetch(record.menu_blob, reader.stream);
    fetch(record.form_menu_blob, reader.stream);
    return answer;
}

}  // namespace second
