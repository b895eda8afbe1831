"""AVI files through libdrm-sorn as Python's own file objects.

    library = sorn.load("libdrm-sorn.so.0", "libdebug_message.so")
    with sorn.SornFile(library, "film.avi") as film:
        film.seek(-1000, os.SEEK_END)
        print(film.read())

libdrm-sorn calls _debug_message, a function that the process must have before the library is loaded.
Python cannot define one, so another library brings it: the platform's, or libdebug_message.so, which
examples/debug_message.c becomes.
"""

import ctypes
import errno
import io
import os

INT32_MAX = 0x7FFFFFFF
UINT32_MAX = 0xFFFFFFFF


def load(library, debug_message_library):
    # RTLD_GLOBAL: what this library defines resolves what the next one lacks.
    ctypes.CDLL(debug_message_library, mode=ctypes.RTLD_GLOBAL)
    sorn = ctypes.CDLL(library)
    handle = ctypes.c_void_p
    uint32_pointer = ctypes.POINTER(ctypes.c_uint32)
    for name, result, arguments in [
        ("open", ctypes.c_int64, [ctypes.c_char_p, ctypes.POINTER(handle)]),
        ("close", ctypes.c_int32, [handle]),
        ("read", ctypes.c_int64, [handle, ctypes.c_void_p, ctypes.c_uint32, uint32_pointer]),
        ("seek", ctypes.c_int32, [handle, ctypes.c_int32, ctypes.c_int]),
        ("tell", ctypes.c_int32, [handle]),
    ]:
        function = getattr(sorn, f"drm_svc_sorn_{name}_file")
        function.restype, function.argtypes = result, arguments
    return sorn


def refusal(path, result):
    """Why an open returned `result`: what is wrong with the path, or that the file is refused."""
    try:
        os.stat(path)
    except OSError as error:
        return error
    if not os.access(path, os.R_OK):
        return PermissionError(errno.EACCES, os.strerror(errno.EACCES), path)
    return OSError(errno.EINVAL, f"Refused by libdrm-sorn ({result})", path)


class SornFile(io.RawIOBase):
    """An AVI file opened through the library, to be read at any position. Each read is one read of
    the library's, of as many bytes; io.BufferedReader makes fewer and larger ones of them."""

    def __init__(self, sorn, path):
        self._handle = ctypes.c_void_p()  # first, so that a refused file can be closed
        self._sorn = sorn
        result = sorn.drm_svc_sorn_open_file(os.fsencode(path), ctypes.byref(self._handle))
        if result != 0:
            raise refusal(path, result)
        self.name = path
        self._size = self._measure()
        self._position = 0
        self._library_stands = None  # where the library's own position is, if known

    def _seek(self, offset, whence):
        self._sorn.drm_svc_sorn_seek_file(self._handle, offset, whence)

    def _measure(self):
        """Tell has no answer beyond 2 GiB: it is asked further and further before the end."""
        stepped_back = 0
        self._seek(0, os.SEEK_END)
        while (told := self._sorn.drm_svc_sorn_tell_file(self._handle)) < 0:
            self._seek(-INT32_MAX, os.SEEK_CUR)
            stepped_back += INT32_MAX
        return stepped_back + told

    def _go(self, position):
        """One absolute seek as far as its offset reaches, and relative ones from there."""
        step = min(position, INT32_MAX)
        self._seek(step, os.SEEK_SET)
        while position := position - step:
            step = min(position, INT32_MAX)
            self._seek(step, os.SEEK_CUR)

    def _check_open(self):
        if self.closed:
            raise ValueError("I/O operation on closed file")

    def readable(self):
        self._check_open()
        return True

    def seekable(self):
        self._check_open()
        return True

    def readinto(self, buffer):
        self._check_open()
        view = memoryview(buffer).cast("B")
        wanted = min(len(view), self._size - self._position, UINT32_MAX)
        if wanted <= 0:
            return 0  # nothing is asked for past the end: it would move the library's position
        if self._library_stands != self._position:
            self._go(self._position)
        count = ctypes.c_uint32()
        self._sorn.drm_svc_sorn_read_file(self._handle, (ctypes.c_char * wanted).from_buffer(view),
                                          wanted, ctypes.byref(count))
        self._position += count.value
        self._library_stands = self._position if count.value == wanted else None
        if count.value == 0:
            raise OSError(errno.EIO, "Nothing was read before the end of the file", self.name)
        return count.value

    def seek(self, offset, whence=os.SEEK_SET):
        self._check_open()
        start = {os.SEEK_SET: 0, os.SEEK_CUR: self._position, os.SEEK_END: self._size}.get(whence)
        if start is None:
            raise ValueError(f"invalid whence: {whence}")
        if start + offset < 0:
            raise ValueError(f"negative seek position: {start + offset}")
        self._position = start + offset
        return self._position

    def tell(self):
        self._check_open()
        return self._position

    def close(self):
        super().close()
        if self._handle:
            self._sorn.drm_svc_sorn_close_file(self._handle)
            self._handle = ctypes.c_void_p()
