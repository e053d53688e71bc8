# SPDX-License-Identifier: GPL-2.0-or-later
"""The texts of the dialog: every language has every text that the code uses, and no other."""

import pathlib
import re

PLUGIN = pathlib.Path(__file__).resolve().parents[2] / "plugin"


def test_every_language_is_complete():
    texts = {}
    for path in sorted(PLUGIN.glob("data/locale/*.ini")):
        pairs = [re.fullmatch(r'(\w+)="([^"]+)"', line).groups() for line in path.read_text("utf-8").splitlines()]
        texts[path.stem] = dict(pairs)
        assert len(texts[path.stem]) == len(pairs), f"{path} has a key twice"
    english = texts["en-US"]
    assert set(re.findall(r'm_text\("(\w+)"\)', (PLUGIN / "settingsdialog.cpp").read_text())) == set(english)
    for locale, translated in texts.items():
        assert set(translated) == set(english), locale
        for key, text in translated.items():
            assert sorted(re.findall(r"%\d", text)) == sorted(re.findall(r"%\d", english[key])), (locale, key)
        mnemonics = [re.findall("&(.)", text.lower()) for key, text in translated.items() if "&" in english[key]]
        letters = [letter for [letter] in mnemonics]  # each text has one
        assert len(set(letters)) == len(letters), f"two of {letters} are the same key in {locale}"
