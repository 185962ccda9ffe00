# Completion of kavrelctl for fish. Commands and options are those that --help lists; jobs, archives,
# states, rules and filters those of the program folder.

function __kavrelctl_path
    set -l path
    set -l words (commandline -opc)
    set -e words[1]
    set -l skip 0
    for word in $words
        if test $skip = 1
            set skip 0
        else if contains -- "$word" --home --debug --wait --lang
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

# Names are taken from the English help; what each does is told in the user's language.
function __kavrelctl_words
    set -l help (kavrelctl --lang en (__kavrelctl_path) --help 2>/dev/null)
    set -l names (printf '%s\n' $help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' | string join '|')
    if test -n "$names"
        kavrelctl (__kavrelctl_home) (__kavrelctl_path) --help 2>/dev/null | sed -nE "s/^  ($names)  +/\1\t/p"
    end
    # What an option does stands behind it, or below where there is no room. That of a pair stands for
    # the first of both.
    kavrelctl (__kavrelctl_home) (__kavrelctl_path) --help 2>/dev/null | awk '
      /^  -/ {
        text = substr($0, 3); gap = index(text, "  "); names = $1
        if (gap) text = substr(text, gap); else if ((getline text) <= 0) text = ""
        sub(/^ +/, "", text)
        count = split(names, all, ",")
        for (i = 1; i <= count; ++i) {
          if (all[i] !~ /^--/) continue
          if (sub(/[{]false[}]$/, "", all[i])) print all[i]; else print all[i] "\t" text
        }
      }'
end

# The option --home as it was typed, in either form.
function __kavrelctl_home
    set -l words (commandline -opc)
    for i in (seq (count $words))
        if string match -q -- '--home=*' $words[$i]
            printf '%s\n' $words[$i]
        else if test "$words[$i]" = --home; and test $i -lt (count $words)
            printf '%s\n' --home $words[(math $i + 1)]
        end
    end
end

function __kavrelctl_names
    kavrelctl (__kavrelctl_home) $argv --names 2>/dev/null
end

# The first word behind the command that is no option.
function __kavrelctl_job
    set -l words (commandline -opc)
    set -l place (contains -i -- (__kavrelctl_path)[-1] $words)
    or return
    for word in $words[(math $place + 1)..-1]
        if not string match -q -- '-*' "$word"
            printf '%s\n' $word
            return
        end
    end
end

# The same in one word.
function __kavrelctl_command
    string join ' ' (__kavrelctl_path)
end

# Behind its job, diff takes two states, pin and unpin one.
function __kavrelctl_takes_state
    contains -- "$(__kavrelctl_command)" diff pin unpin; and test -n "$(__kavrelctl_job)"
end

function __kavrelctl_takes_job
    __kavrelctl_takes_state; and return 1
    contains -- "$(__kavrelctl_command)" edit remove show status next run preview restore verify scrub drill archives states versions diff keep pin unpin
end

function __kavrelctl_takes_rule
    contains -- "$(__kavrelctl_command)" 'rules remove' 'rules enable' 'rules disable'
end

complete -c kavrelctl -f -a '(__kavrelctl_words)'
complete -c kavrelctl -f -n __kavrelctl_takes_job -a '(__kavrelctl_names list)'
complete -c kavrelctl -f -n __kavrelctl_takes_rule -a '(__kavrelctl_names rules list)'
complete -c kavrelctl -f -n 'test "$(__kavrelctl_command)" = "filters remove"' -a '(__kavrelctl_names filters list)'
complete -c kavrelctl -n 'test "$(__kavrelctl_command)" = import' -a '(__fish_complete_path)'
complete -c kavrelctl -n 'test "$(__kavrelctl_command)" = export' -a '(__fish_complete_directories)'
complete -c kavrelctl -r -l home -a '(__fish_complete_directories)'
complete -c kavrelctl -r -F -l debug
complete -c kavrelctl -r -l source -a '(__fish_complete_directories)'
complete -c kavrelctl -r -l dest -a '(__fish_complete_directories)'
complete -c kavrelctl -x -l types -a '@(__kavrelctl_names filters list)'
complete -c kavrelctl -x -l archive -a '(__kavrelctl_names archives (__kavrelctl_job))'
complete -c kavrelctl -x -l state -a 'latest (__kavrelctl_names states (__kavrelctl_job))'
complete -c kavrelctl -f -n __kavrelctl_takes_state -a '(__kavrelctl_names states (__kavrelctl_job))'
complete -c kavrelctl -x -l job -a '(__kavrelctl_names list)'
complete -c kavrelctl -x -l lang -a 'zh_TW en zh_CN ja de fr es'
complete -c kavrelctl -x -l type -a 'full differential sync compressed'
complete -c kavrelctl -x -l compression -a 'store fast full'
complete -c kavrelctl -x -l mode -a 'full incremental'
complete -c kavrelctl -x -l progress -a 'auto none json'
