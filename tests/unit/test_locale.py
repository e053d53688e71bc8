# SPDX-License-Identifier: GPL-2.0-or-later
"""The texts of the dialog: every language has every text that the code uses, and no other."""

import pathlib
import re

import pytest

PLUGIN = pathlib.Path(__file__).resolve().parents[2] / "plugin"
LOCALES = PLUGIN / "data/locale"


def texts(locale):
    lines = (LOCALES / f"{locale}.ini").read_text("utf-8").splitlines()
    pairs = [re.fullmatch(r'(\w+)="([^"]+)"', line).groups() for line in lines]
    assert len(dict(pairs)) == len(pairs), "a key occurs twice"
    return dict(pairs)


def test_the_code_uses_every_text():
    used = re.findall(r'm_text\("(\w+)"\)', (PLUGIN / "settingsdialog.cpp").read_text())
    assert set(used) == set(texts("en-US"))


@pytest.mark.parametrize("locale", sorted(path.stem for path in LOCALES.iterdir()))
def test_a_language_is_complete(locale):
    english, translated = texts("en-US"), texts(locale)
    assert set(translated) == set(english)
    for key, text in translated.items():
        assert sorted(re.findall(r"%\d", text)) == sorted(re.findall(r"%\d", english[key])), key
    mnemonics = [re.findall("&(.)", text.lower()) for key, text in translated.items() if "&" in english[key]]
    letters = [letter for [letter] in mnemonics]  # each text has one
    assert len(set(letters)) == len(letters), f"two of {letters} are the same key"
