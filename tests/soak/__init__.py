# SPDX-License-Identifier: GPL-2.0-or-later
"""Long and heavy loads on a real OBS."""
