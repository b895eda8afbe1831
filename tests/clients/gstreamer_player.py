#!/usr/bin/python3
"""Demuxes a file by GStreamer's avidemux and says what each of its pads handed on.

    gstreamer_player.py [--direct] [--start SECONDS] FILE

It reads the file by sornsrc, or by GStreamer's own filesrc with --direct. An interrupt ends it in the
middle. Exit status: 0 at the end of the stream, 1 after an error, 130 after an interrupt.
"""

import argparse
import hashlib
import signal
import sys

import gi

gi.require_version("Gst", "1.0")
from gi.repository import GLib, Gst  # noqa: E402


class Tally:
    """What a pad has handed on since the last seek."""

    def __init__(self):
        self.clear()

    def clear(self):
        self.buffers = self.bytes = 0
        self.digest = hashlib.md5()

    def add(self, buffer):
        self.buffers += 1
        self.bytes += buffer.get_size()
        self.digest.update(f"{buffer.pts} {buffer.dts} {buffer.duration} ".encode())
        self.digest.update(buffer.extract_dup(0, buffer.get_size()))


class Player:
    def __init__(self, options):
        self.start = options.start
        self.tallies = {}
        self.loop = GLib.MainLoop()
        self.status = 130
        self.pipeline = Gst.Pipeline()
        self.source = self.add("filesrc" if options.direct else "sornsrc")
        self.source.set_property("location", options.file)
        demuxer = self.add("avidemux")
        self.source.link(demuxer)
        demuxer.connect("pad-added", self.on_pad)
        demuxer.connect("no-more-pads", lambda _: GLib.idle_add(self.begin))
        bus = self.pipeline.get_bus()
        bus.add_signal_watch()
        bus.connect("message", self.on_message)

    def add(self, factory):
        element = Gst.ElementFactory.make(factory)
        if element is None:
            sys.exit(f"GStreamer has no {factory}")
        self.pipeline.add(element)
        return element

    def on_pad(self, _, pad):
        tally = self.tallies[pad.get_name()] = Tally()
        pad.add_probe(Gst.PadProbeType.BUFFER | Gst.PadProbeType.EVENT_FLUSH, self.on_data, tally)
        queue, sink = self.add("queue"), self.add("fakesink")
        sink.set_property("async", False)  # pads come one by one: the pipeline waits for none
        pad.link(queue.get_static_pad("sink"))
        queue.link(sink)
        queue.sync_state_with_parent()
        sink.sync_state_with_parent()

    def on_data(self, _, info, tally):
        if info.type & Gst.PadProbeType.BUFFER:
            tally.add(info.get_buffer())
        elif info.get_event().type == Gst.EventType.FLUSH_STOP:
            tally.clear()
        return Gst.PadProbeReturn.OK

    def on_message(self, _, message):
        if message.type == Gst.MessageType.EOS:
            self.status = 0
            self.loop.quit()
        elif message.type == Gst.MessageType.ERROR:
            error, detail = message.parse_error()
            print(f"{error.message} [{detail}]", file=sys.stderr)
            self.status = 1
            self.loop.quit()

    def begin(self):
        flags = Gst.SeekFlags.FLUSH | Gst.SeekFlags.ACCURATE
        position = round(self.start * Gst.SECOND)
        if position > 0 and not self.pipeline.seek_simple(Gst.Format.TIME, flags, position):
            print("the seek was refused", file=sys.stderr)
            self.status = 1
            self.loop.quit()
        self.pipeline.set_state(Gst.State.PLAYING)
        return GLib.SOURCE_REMOVE

    def run(self):
        GLib.unix_signal_add(GLib.PRIORITY_HIGH, signal.SIGINT, self.loop.quit)
        self.pipeline.set_state(Gst.State.PAUSED)
        self.loop.run()
        stats = None
        if self.source.get_factory().get_name() == "sornsrc":
            stats = self.source.get_property("stats")
        self.pipeline.set_state(Gst.State.NULL)
        return stats


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--direct", action="store_true")
    parser.add_argument("--start", type=float, default=0)
    parser.add_argument("file")
    Gst.init(None)
    player = Player(parser.parse_args())
    stats = player.run()
    for name, tally in sorted(player.tallies.items()):
        print(f"stream {name}: {tally.buffers} buffers, {tally.bytes} bytes, "
              f"MD5 {tally.digest.hexdigest()}")
    if stats is not None:
        print(stats.to_string())
    return player.status


if __name__ == "__main__":
    sys.exit(main())
