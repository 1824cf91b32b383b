#!/usr/bin/env python3
"""scripts/check-sparkle-api against small synthetic Sparkle headers and an adapter that overrides
a user-driver method, sends messages, reads a property and names a constant: the pinned release
must declare each of them wherever its header could be read, and must read the plist's keys."""

import plistlib
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
CHECK = ROOT / "scripts" / "check-sparkle-api"

HEADERS = {
    "SPUUpdater.h": """
        SU_EXPORT @interface SPUUpdater : NSObject
        - (instancetype)init NS_UNAVAILABLE;
        /** Checks for updates. */
        - (void)checkForUpdates;
        @property (nonatomic, readonly) BOOL sessionInProgress;
        @end
    """,
    "SPUUserDriver.h": """
        typedef NS_ENUM(NSInteger, SPUUserUpdateChoice) {
            SPUUserUpdateChoiceSkip,
            SPUUserUpdateChoiceInstall,
        };
        SU_EXPORT @protocol SPUUserDriver <NSObject>
        - (void)showUpdateFoundWithAppcastItem:(SUAppcastItem *)appcastItem
                                         state:(SPUUserUpdateState *)state
                                         reply:(void (^)(SPUUserUpdateChoice))reply;
        @end
    """,
    "SUErrors.h": "SU_EXPORT extern NSString *const SUSparkleErrorDomain;\n",
}

ADAPTER = """
@implementation GaugelyDriver
// [updater checkForUpdatesInBackground] in a comment is not a use.
- (void)showUpdateFoundWithAppcastItem:(SUAppcastItem*)item
                                 state:(SPUUserUpdateState*)state
                                 reply:(void (^)(SPUUserUpdateChoice))reply {
    reply(SPUUserUpdateChoiceInstall);
}
@end

void run(SPUUpdater* updater, NSError* error) {
    if (!updater.sessionInProgress && [error.domain isEqualToString:SUSparkleErrorDomain]) {
        [updater checkForUpdates];
    }
}
"""


def write(folder, files):
    folder.mkdir(parents=True, exist_ok=True)
    for name, text in files.items():
        (folder / name).write_text(text)


def run_check(root, pinned_headers, constants=None, keys=None, compile_headers=HEADERS):
    write(root / "compile", compile_headers)
    write(root / "pinned" / "headers", pinned_headers)
    if constants is not None:
        write(root / "pinned" / "sources", {"SUConstants.m": constants})
    adapter = root / "SparkleAdapter.mm"
    adapter.write_text(ADAPTER)
    arguments = [sys.executable, str(CHECK), "--version", "2.10.0",
                 "--compile-headers", str(root / "compile"), "--pinned", str(root / "pinned"),
                 str(adapter)]
    if keys is not None:
        (root / "Info.plist").write_bytes(plistlib.dumps(keys))
        arguments += ["--plist", str(root / "Info.plist")]
    result = subprocess.run(arguments, capture_output=True, text=True, check=False)
    return result.returncode, result.stdout + result.stderr


class CheckSparkleApiTest(unittest.TestCase):
    def test_every_use_is_found_in_the_pinned_headers(self):
        with tempfile.TemporaryDirectory() as folder:
            status, output = run_check(Path(folder), HEADERS)
        self.assertEqual(status, 0, output)
        self.assertIn("found: SPUUpdater SPUUserUpdateChoice SPUUserUpdateChoiceInstall "
                      "SUSparkleErrorDomain checkForUpdates sessionInProgress "
                      "showUpdateFoundWithAppcastItem:state:reply:\n", output)
        self.assertNotIn("checkForUpdatesInBackground", output)

    def test_what_the_pinned_release_lacks_or_was_not_read(self):
        renamed = dict(HEADERS)
        renamed["SPUUserDriver.h"] = HEADERS["SPUUserDriver.h"].replace(
            "state:(SPUUserUpdateState *)state", "state:(SPUUserUpdateState *)state\n"
            "userInitiated:(BOOL)userInitiated")
        unread = {name: text for name, text in HEADERS.items() if name != "SUErrors.h"}
        cases = [  # (what differs, the pinned headers, exit status, what the output says)
            ("a renamed user-driver method", renamed, 1,
             "showUpdateFoundWithAppcastItem:state:reply: (declared in SPUUserDriver.h) is not in "
             "Sparkle 2.10.0's SPUUserDriver.h"),
            ("a header that could not be read", unread, 0, "unchecked: SUSparkleErrorDomain"),
            ("nothing read at all", {}, 0, "0 found"),
        ]
        for name, pinned, expected_status, expected in cases:
            with self.subTest(name), tempfile.TemporaryDirectory() as folder:
                status, output = run_check(Path(folder), pinned)
                self.assertEqual(status, expected_status, output)
                self.assertIn(expected, output)

    def test_the_plist_keys_must_be_named_by_the_pinned_constants(self):
        constants = 'NSString *const SUFeedURLKey = @"SUFeedURL";\n'
        for keys, expected_status in (({"SUFeedURL": "https://x"}, 0),
                                      ({"SUFeedURL": "https://x", "SURequireSignedFeed": True}, 1)):
            with self.subTest(keys=sorted(keys)), tempfile.TemporaryDirectory() as folder:
                status, output = run_check(Path(folder), HEADERS, constants, keys)
                self.assertEqual(status, expected_status, output)
                if expected_status:
                    self.assertIn("Info.plist sets SURequireSignedFeed", output)

    def test_without_compile_headers_it_says_so_and_passes(self):
        with tempfile.TemporaryDirectory() as folder:
            status, output = run_check(Path(folder), HEADERS, compile_headers={})
        self.assertEqual(status, 0, output)
        self.assertIn("skipped", output)


if __name__ == "__main__":
    unittest.main()
