# SPDX-License-Identifier: MIT
"""What all worlds of a run share: the program, the folder, the server's certificate, and small disks."""

import ctypes
import ctypes.util
import os
import shutil
import tempfile

from certificates import Authority

CLONE_NEWNS = 0x00020000
CLONE_NEWUSER = 0x10000000
MS_REC_PRIVATE = 0x4000 | 0x40000
MS_REMOUNT = 32
MNT_DETACH = 2


class Setting:
    def __init__(self, executable, library, *, without=(), only=(), spared=(), keep=False, verbose=False):
        self.executable = executable
        self.library = library
        self.without = frozenset(without)
        self.only = only  # kinds of rounds
        self.spared = spared  # kinds of rounds, and what happens between them
        self.keep = keep
        self.verbose = verbose
        # In memory where that can be had: the rounds are about order, not about the disk's speed.
        self.base = tempfile.mkdtemp(prefix="quillbeaker-torture-", dir="/dev/shm" if os.path.isdir("/dev/shm") else None)
        self._authority = Authority()
        self._certificate = self._authority.self_signed("IP:127.0.0.1")
        self.fingerprint = self._certificate.fingerprint()
        self._context = self._certificate.server_context()
        self._libc = ctypes.CDLL(None, use_errno=True)
        self.can_mount = False

    def tls_context(self):
        return self._context

    def allow_mounts(self):
        """Mounts of this process are its own from here on; no special right is needed where users may have
        namespaces of their own."""
        user, group = os.getuid(), os.getgid()
        if self._libc.unshare(CLONE_NEWNS) != 0:
            if self._libc.unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0:
                return
            try:
                for name, text in (("setgroups", "deny"), ("uid_map", f"{user} {user} 1"), ("gid_map", f"{group} {group} 1")):
                    with open(f"/proc/self/{name}", "w", encoding="ascii") as file:
                        file.write(text)
            except OSError:
                return
        if self._libc.mount(b"none", b"/", None, MS_REC_PRIVATE, None) != 0:
            return
        probe = os.path.join(self.base, f"probe{os.getpid()}")
        os.mkdir(probe)
        self.can_mount = self.mount(probe, 64)
        if self.can_mount:
            self.unmount(probe)
        os.rmdir(probe)

    def mount(self, folder, kilobytes):
        return self._libc.mount(b"none", folder.encode(), b"tmpfs", 0, f"size={kilobytes}k".encode()) == 0

    def grow(self, folder):
        """A disk that was tiny has room enough from here on."""
        self._libc.mount(b"none", folder.encode(), b"tmpfs", MS_REMOUNT, b"size=1g")

    def unmount(self, folder):
        self._libc.umount2(folder.encode(), MNT_DETACH)

    def close(self):
        self._authority.close()
        if not (self.keep and os.listdir(self.base)):
            shutil.rmtree(self.base, ignore_errors=True)
