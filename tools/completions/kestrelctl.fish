# SPDX-License-Identifier: GPL-2.0-or-later
#
# Completion of kestrelctl for fish. Names of scenes, items and transitions are asked from the running host.

function __kestrelctl_names
    set -l words (commandline -opc)
    set -l connection --timeout 1
    if set -l place (contains -i -- --port $words)
        set -a connection --port $words[(math $place + 1)]
    end
    kestrelctl $connection names $argv[1] 2>/dev/null
end

function __kestrelctl_command
    set -l words (commandline -opc)
    set -e words[1]
    while set -q words[1]
        switch $words[1]
            case --port --timeout
                set -e words[1]
            case '-*'
            case '*'
                printf '%s\n' $words
                return
        end
        set -e words[1]
    end
end

# Whether the words from the command on are as many as the first argument says, the command being one of the others.
function __kestrelctl_at
    set -l words (__kestrelctl_command)
    test (count $words) -eq $argv[1]; and contains -- "$words[1]" $argv[2..]
end

function __kestrelctl_sets
    set -l words (__kestrelctl_command)
    test (count $words) -eq 2; and test "$words[1]" = set; and contains -- "$words[2]" $argv
end

function __kestrelctl_is
    set -l words (__kestrelctl_command)
    contains -- "$words[1]" $argv
end

complete -c kestrelctl -f
complete -c kestrelctl -l port -x -d 'port of the plug-in'
complete -c kestrelctl -l timeout -x -d 'seconds to wait'
complete -c kestrelctl -l json -d 'one JSON value a line'
complete -c kestrelctl -s h -l help -d help

for entry in state:'every property with its value' scenes:'every scene with its items' get:'values of properties' \
        watch:'the state, then every change' stats:'the load and figures of the host' \
        wait:'wait until the plug-in answers' version:'the version of this program' set:'give a property a value' \
        scene:'put a scene on air' preview:'choose the preview of studio mode' \
        show:'show items of the scene on air' hide:'hide items of the scene on air' \
        lock:'lock items of the scene on air' unlock:'unlock items of the scene on air' \
        transition:'choose the transition' go:'run the transition of studio mode' \
        cut:'put the preview on air at once' record:'start or stop the recording' stream:'start or stop streaming' \
        studio:'turn studio mode on or off'
    set -l parts (string split -m 1 : $entry)
    complete -c kestrelctl -n 'test -z "$(__kestrelctl_command)"' -a $parts[1] -d $parts[2]
end

complete -c kestrelctl -n '__kestrelctl_is get watch' -a '(__kestrelctl_names properties)'
complete -c kestrelctl -n '__kestrelctl_at 1 set' -a '(__kestrelctl_names properties)'
complete -c kestrelctl -n '__kestrelctl_at 1 scene preview' -a '(__kestrelctl_names scenes)'
complete -c kestrelctl -n '__kestrelctl_sets currentScene previewScene sceneList' -a '(__kestrelctl_names scenes)'
complete -c kestrelctl -n '__kestrelctl_is show hide lock unlock' -a '(__kestrelctl_names items)'
complete -c kestrelctl -n '__kestrelctl_at 1 transition' -a '(__kestrelctl_names transitions)'
complete -c kestrelctl -n '__kestrelctl_sets currentTransition transitionsList' -a '(__kestrelctl_names transitions)'
complete -c kestrelctl -n '__kestrelctl_is transition' -l duration -x -d 'milliseconds'
complete -c kestrelctl -n '__kestrelctl_is go' -l with -x -a '(__kestrelctl_names transitions)'
complete -c kestrelctl -n '__kestrelctl_is stats' -l watch -d 'once a second'
complete -c kestrelctl -n '__kestrelctl_at 1 record stream' -a 'start stop status'
complete -c kestrelctl -n '__kestrelctl_at 1 studio' -a 'on off status'
complete -c kestrelctl -n '__kestrelctl_sets streaming recording studioMode' -a 'on off'
