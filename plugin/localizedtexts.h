// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QString>

#include <memory>

#include <obs.h>
#include <util/text-lookup.h>

// The module's texts from data/locale, in the language of OBS; in English where that language has none. A text that is
// in no file is its key.
class LocalizedTexts
{
public:
    // The module may be null: then every text is its key.
    explicit LocalizedTexts(obs_module_t* module);

    QString operator()(const char* key) const;

private:
    std::unique_ptr<lookup_t, decltype(&text_lookup_destroy)> m_lookup;
};
