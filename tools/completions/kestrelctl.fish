# SPDX-License-Identifier: GPL-2.0-or-later
#
# Completion of kestrelctl for fish. The candidates come from kestrelctl itself.

function __kestrelctl_candidates
    set -l words (commandline -opc)
    $words[1] complete -- $words[2..] (commandline -ct) 2>/dev/null
end

complete -c kestrelctl -f -a '(__kestrelctl_candidates)'
