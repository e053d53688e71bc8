# SPDX-License-Identifier: GPL-2.0-or-later
"""Drives a real OBS from tests: the process, a controller that checks what it receives, obs-websocket."""
