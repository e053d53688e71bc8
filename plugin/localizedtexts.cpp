// SPDX-License-Identifier: GPL-2.0-or-later
#include "localizedtexts.h"

constexpr char fallbackLocale[] = "en-US";

LocalizedTexts::LocalizedTexts(obs_module_t* module)
    : m_lookup(module ? obs_module_load_locale(module, fallbackLocale, obs_get_locale()) : nullptr, text_lookup_destroy)
{}

QString LocalizedTexts::operator()(const char* key) const
{
    const char* text = key;
    if (m_lookup) {
        text_lookup_getstr(m_lookup.get(), key, &text); // leaves a text that it does not find
    }
    return QString::fromUtf8(text);
}
