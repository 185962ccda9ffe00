# Completion of kavrelctl for fish. Commands and options are those that --help lists, jobs those of
# the program folder.

function __kavrelctl_path
    set -l path
    set -l words (commandline -opc)
    set -e words[1]
    set -l skip 0
    for word in $words
        if test $skip = 1
            set skip 0
        else if contains -- "$word" --home --debug
            set skip 1
        else if not string match -q -- '-*' "$word"
            if test (count $path) = 0; or begin
                    test (count $path) = 1; and contains -- $path[1] rules filters settings drives
                end
                set -a path $word
            end
        end
    end
    printf '%s\n' $path
end

function __kavrelctl_words
    set -l help (kavrelctl (__kavrelctl_path) --help 2>/dev/null)
    printf '%s\n' $help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\)  *\(.*\)/\1\t\2/p'
    printf '%s\n' $help | grep -oE -- '--[a-z][a-z-]*' | sort -u
end

function __kavrelctl_takes_job
    contains -- "$(__kavrelctl_path)" edit remove show run preview restore verify archives
end

complete -c kavrelctl -f -a '(__kavrelctl_words)'
complete -c kavrelctl -f -n __kavrelctl_takes_job -a '(kavrelctl list --names 2>/dev/null)'
complete -c kavrelctl -n 'test "$(__kavrelctl_path)" = import' -a '(__fish_complete_path)'
complete -c kavrelctl -n 'test "$(__kavrelctl_path)" = export' -a '(__fish_complete_directories)'
complete -c kavrelctl -r -l home -a '(__fish_complete_directories)'
complete -c kavrelctl -r -F -l debug
complete -c kavrelctl -r -l source -a '(__fish_complete_directories)'
complete -c kavrelctl -r -l dest -a '(__fish_complete_directories)'
