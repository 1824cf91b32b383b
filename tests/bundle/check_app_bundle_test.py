#!/usr/bin/env python3
"""scripts/check-app-bundle against small synthetic bundles: an intact one passes, and each
planted fault (a wrong key, a missing slice, a bad page hash, ...) is refused with its own line.

The bundles are built here byte by byte (a two-slice Mach-O with a real SHA-256 code directory,
PNGs and an icns), so the test needs neither a macOS SDK nor a Mac."""

import hashlib
import importlib.machinery
import importlib.util
import plistlib
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
CHECK = ROOT / "scripts" / "check-app-bundle"
ARM64, X86_64 = 0x0100000C, 0x01000007
PAGE = 4096


def run_check(*arguments):
    result = subprocess.run([sys.executable, str(CHECK), *map(str, arguments)],
                            capture_output=True, text=True, check=False)
    return result.returncode, result.stdout + result.stderr


def load_checker():
    loader = importlib.machinery.SourceFileLoader("check_app_bundle", str(CHECK))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


CHECKER = load_checker()


def production_plist(feed_host="updates.example.com"):
    # The generated Info.plist is held to the same expectation by AppBundle.InfoPlistAndArtwork*.
    return CHECKER.expected_plist(CHECKER.product_facts(), feed_host)


def png(pixels, colour_type=6):
    def chunk(kind, data):
        checksum = struct.pack(">I", zlib.crc32(kind + data))
        return struct.pack(">I", len(data)) + kind + data + checksum
    rows = b"".join(b"\0" + bytes(4 * pixels) for _ in range(pixels))
    header = struct.pack(">IIBBBBB", pixels, pixels, 8, colour_type, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows))
            + chunk(b"IEND", b""))


ICON_TYPES = {kind.decode(): pixels for kind, pixels in CHECKER.ICON_TYPES.items()}


def icns(types):
    body = b"".join(kind.encode() + struct.pack(">I", 8 + len(data)) + data
                    for kind, data in ((kind, png(pixels)) for kind, pixels in types.items()))
    return b"icns" + struct.pack(">I", 8 + len(body)) + body


def load_command(cmd, fields, text=None):
    """A load command: fields as little-endian words, then a string the first field points at."""
    body = struct.pack(f"<{len(fields)}I", *fields)
    if text is not None:
        body += text.encode() + b"\0"
    body += b"\0" * (-(len(body) + 8) % 8)
    return struct.pack("<II", cmd, len(body) + 8) + body


def mach_o(cputype, minimum=13 << 16, rpath="@executable_path/../Frameworks",
           libraries=("/usr/lib/libSystem.B.dylib", "/System/Library/Frameworks/AppKit.framework/"
                      "Versions/C/AppKit"), signed=True, corrupt_page=False):
    commands = [load_command(0x32, [1, minimum, minimum, 0])]
    if rpath:
        commands.append(load_command(0x8000001C, [12], rpath))
    commands += [load_command(0xC, [24, 2, 0x10000, 0x10000], library) for library in libraries]
    size_of_commands = sum(map(len, commands)) + (16 if signed else 0)
    code_limit = 2 * PAGE + 1000  # the text and a partial last page, as a linker leaves them
    slots = -(-code_limit // PAGE)
    identifier = b"Gaugely\0"
    directory_length = 48 + len(identifier) + 32 * slots
    signature_length = 20 + directory_length
    if signed:
        commands.append(struct.pack("<IIII", 0x1D, 16, code_limit, signature_length))
    header = struct.pack("<IiIIIIII", 0xFEEDFACF, cputype, 0, 2, len(commands), size_of_commands,
                         0, 0)
    image = bytearray(header + b"".join(commands))
    image += bytes((i * 7) % 251 for i in range(len(image), code_limit))
    if not signed:
        return bytes(image)
    hashes = b"".join(hashlib.sha256(image[i * PAGE:min((i + 1) * PAGE, code_limit)]).digest()
                      for i in range(slots))
    if corrupt_page:
        image[PAGE + 10] ^= 0xFF  # after signing: the second page no longer matches its hash
    flags = 0x2 | 0x20000  # ad hoc, by the linker
    directory = struct.pack(">IIIIIIIIIBBBBII", 0xFADE0C02, directory_length, 0x20100, flags,
                            48 + len(identifier), 48, 0, slots, code_limit, 32, 2, 0, 12, 0, 0)
    directory += identifier + hashes
    superblob = struct.pack(">IIIII", 0xFADE0CC0, signature_length, 1, 0, 20) + directory
    return bytes(image) + superblob


def universal(slices):
    offset, table, body = 16384, b"", b""
    for cputype, data in slices:
        table += struct.pack(">iIIII", cputype, 0, offset + len(body), len(data), 14)
        body += data + b"\0" * (-len(data) % 16384)
    padding = b"\0" * (offset - 8 - len(table))
    return struct.pack(">II", 0xCAFEBABE, len(slices)) + table + padding + body


def make_bundle(folder, plist=None, slices=None, pkginfo=b"APPL????", template_sizes=(14, 28),
                icon_types=None):
    contents = Path(folder) / "Gaugely.app" / "Contents"
    (contents / "MacOS").mkdir(parents=True)
    (contents / "Resources").mkdir()
    plist = production_plist() if plist is None else plist
    (contents / "Info.plist").write_bytes(plistlib.dumps(plist))
    (contents / "PkgInfo").write_bytes(pkginfo)
    executable = contents / "MacOS" / "Gaugely"
    slices = slices or [(ARM64, mach_o(ARM64)), (X86_64, mach_o(X86_64, signed=False))]
    executable.write_bytes(universal(slices))
    executable.chmod(0o755)
    resources = contents / "Resources"
    (resources / "GaugelyMenuBarTemplate.png").write_bytes(png(template_sizes[0]))
    (resources / "GaugelyMenuBarTemplate@2x.png").write_bytes(png(template_sizes[1]))
    (resources / "Gaugely.icns").write_bytes(icns(ICON_TYPES if icon_types is None else icon_types))
    return contents.parent


def with_keys(changes, removed=()):
    keys = production_plist()
    keys.update(changes)
    for key in removed:
        del keys[key]
    return keys


def check(*arguments, **build):
    """The checker's status and output for a bundle built with `build`'s changes."""
    with tempfile.TemporaryDirectory() as folder:
        return run_check("--feed-host", "updates.example.com", "--cross-built", *arguments,
                         make_bundle(folder, **build))


def with_slices(arm64=None, x86_64=None):
    """The two slices, either replaced: an ad hoc signed arm64 and an unsigned x86_64."""
    return dict(slices=[(ARM64, arm64 or mach_o(ARM64)),
                        (X86_64, x86_64 or mach_o(X86_64, signed=False))])


class CheckAppBundleTest(unittest.TestCase):
    def test_each_planted_fault_is_refused(self):
        cases = [  # (what is wrong, how the bundle is built, the line that must say so)
            ("a wrong value", dict(plist=with_keys({"CFBundleVersion": "4"})),
             "CFBundleVersion is '4', not '3'"),
            ("a Boolean written as text", dict(plist=with_keys({"LSUIElement": "YES"})),
             "LSUIElement is 'YES', not True"),
            ("a Boolean written as an integer", dict(plist=with_keys({"SURequireSignedFeed": 1})),
             "SURequireSignedFeed is 1, not True"),
            ("a missing key", dict(plist=with_keys({}, removed=["SUEnableAutomaticChecks"])),
             "SUEnableAutomaticChecks is None, not False"),
            ("an override key", dict(plist=with_keys({"GaugelyPresentedBuild": "9"})),
             "GaugelyPresentedBuild is an override"),
            ("another feed host", dict(plist=with_keys(
                {"SUFeedURL": "https://example.org/updates/gaugely/appcast.xml"})), "SUFeedURL is"),
            ("no feed at all", dict(plist=production_plist(feed_host="")), "SUFeedURL is None"),
            ("a wrong PkgInfo", dict(pkginfo=b"BNDL????"), "PkgInfo is not APPL????"),
            ("a missing x86_64 slice", dict(slices=[(ARM64, mach_o(ARM64))]),
             "slices ['arm64'], not arm64 and x86_64"),
            ("an older minimum macOS", with_slices(x86_64=mach_o(X86_64, minimum=12 << 16)),
             "x86_64: minimum macOS is not 13.0"),
            ("a bad page hash", with_slices(arm64=mach_o(ARM64, corrupt_page=True)),
             "arm64: page hashes differ from the file at pages [1]"),
            ("an unsigned arm64 slice", with_slices(arm64=mach_o(ARM64, signed=False)),
             "arm64: no code signature"),
            ("no rpath", with_slices(arm64=mach_o(ARM64, rpath=None)), "arm64: no rpath"),
            ("a library outside the system", with_slices(
                arm64=mach_o(ARM64, libraries=("/opt/homebrew/lib/libicuuc.74.dylib",))),
             "links /opt/homebrew/lib/libicuuc"),
            ("a template image at the wrong size", dict(template_sizes=(16, 28)),
             "GaugelyMenuBarTemplate.png is not a 14×14 RGBA PNG"),
            ("an icon without its 512-point 2x image",
             dict(icon_types={k: v for k, v in ICON_TYPES.items() if k != "ic10"}),
             "lacks a 1024-pixel PNG as ic10"),
        ]
        for name, build, expected in cases:
            with self.subTest(name):
                status, output = check(**build)
                self.assertEqual(status, 1, output)
                self.assertIn(expected, output)
                self.assertIn(" 1 of ", output, "one fault, one failed check")

    def test_the_embedded_sparkle_must_read_every_updater_key_set(self):
        # None: product.conf's pin, which must read every key the production plist sets.
        cases = [  # (Sparkle release, exit status, the lines that must say why)
            (None, 0, []),
            ("2.9.0", 0, []),
            ("2.8.1", 1, ["SURequireSignedFeed is set, but Sparkle 2.8.1 does not read it "
                          "(read from 2.9.0)"]),
            ("2.6.4", 1, ["SURequireSignedFeed is set, but Sparkle 2.6.4",
                          "SUVerifyUpdateBeforeExtraction is set, but Sparkle 2.6.4 does not read "
                          "it (read from 2.7.0)"]),
            ("2.10.0-beta.1", 1, ["is not a stable Sparkle 2 release"]),
        ]
        for version, expected_status, lines in cases:
            with self.subTest(version):
                status, output = check(*(("--sparkle-version", version) if version else ()))
                self.assertEqual(status, expected_status, output)
                for line in lines:
                    self.assertIn(line, output)
                if not lines:
                    self.assertRegex(output, r"passed \d+ checks")
        status, output = check(plist=with_keys({"SUShowReleaseNotes": True}))
        self.assertIn("SUShowReleaseNotes is unexpected", output)
        self.assertIn("SUShowReleaseNotes is no updater key known here", output)

    def test_a_plist_alone_is_checked_for_its_feed_host(self):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "Info.plist"
            path.write_bytes(plistlib.dumps(production_plist(feed_host="")))
            for host, status in (("", 0), ("updates.example.com", 1)):
                with self.subTest(host=host):
                    self.assertEqual(run_check("--plist", path, "--feed-host", host)[0], status)


if __name__ == "__main__":
    unittest.main()
