#!/usr/bin/python3
"""Plays a file by its sorn:// URI, and tries URIs that name no file here.

    gstreamer_uris.py FILE
"""

import sys
import urllib.parse

import gi

gi.require_version("Gst", "1.0")
from gi.repository import GLib, Gst  # noqa: E402


def check(good, what):
    if not good:
        sys.exit(what)


def refused(element, uri):
    try:
        element.set_uri(uri)
    except GLib.Error as error:
        return error.message
    return None


def play(uri):
    player = Gst.ElementFactory.make("playbin")
    player.set_property("uri", uri)
    for sink in ("video-sink", "audio-sink"):
        player.set_property(sink, Gst.ElementFactory.make("fakesink"))
    player.set_state(Gst.State.PLAYING)
    message = player.get_bus().timed_pop_filtered(
        60 * Gst.SECOND, Gst.MessageType.EOS | Gst.MessageType.ERROR)
    source = player.get_property("source").get_factory().get_name()
    at_end = message is not None and message.type == Gst.MessageType.EOS
    player.set_state(Gst.State.NULL)
    return source, at_end


def main(path):
    Gst.init(None)
    uri = "sorn://" + urllib.parse.quote(path)
    element = Gst.Element.make_from_uri(Gst.URIType.SRC, uri)
    check(element.get_property("location") == path, f"{uri} became another path")
    element.set_property("location", path)
    made = element.get_uri()
    check(made.startswith("sorn:///") and urllib.parse.unquote(made[7:]) == path
          and not set(made) & set(" #?\u00fc"), f"{path} became {made}")
    for bad in ("sorn://elsewhere/film.avi", "sorn:///film%2", "sorn:///a%00b", "sorn://film.avi"):
        check(refused(element, bad), f"{bad} was taken")
    check(element.get_property("location") == path, "a refused URI changed the location")
    check(refused(element, "sorn://localhost/film.avi") is None, "localhost was refused")
    check(play(uri) == ("sornsrc", True), f"{uri} was not played to its end by sornsrc")

    element.set_property("location", path)
    element.set_state(Gst.State.PAUSED)
    check(refused(element, uri), "the location changed while the file was open")
    element.set_state(Gst.State.NULL)


if __name__ == "__main__":
    main(sys.argv[1])
