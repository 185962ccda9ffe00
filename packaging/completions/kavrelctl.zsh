#compdef kavrelctl
# Commands and options are those that --help lists; jobs, archives, rules and filters those of the
# program folder; so are states.

_kavrelctl() {
  local word help job previous=${words[CURRENT - 1]}
  local -a home path_words found
  local -i i
  for ((i = 2; i < CURRENT; ++i)); do
    word=${words[i]}
    if [[ $word == --home=* ]]; then
      home=(--home "${(Q)word#--home=}")
    elif [[ $word == --home ]]; then
      home=(--home "${(Q)words[i + 1]}")
      ((++i))
    elif [[ $word == --debug || $word == --wait || $word == --lang ]]; then
      ((++i))
    elif [[ $word != -* ]]; then
      if ((${#path_words} == 0)) ||
        [[ ${#path_words} == 1 && $path_words[1] == (rules|filters|settings|drives) ]]; then
        path_words+=("$word")
      elif [[ -z $job ]]; then
        job=${(Q)word}
      fi
    fi
  done
  case $previous in
    (--archive | --list)
      found=(${(f)"$(kavrelctl $home archives "$job" --names 2>/dev/null)"})
      compadd -- $found
      return
      ;;
    (--state)
      found=(latest ${(f)"$(kavrelctl $home states "$job" --names 2>/dev/null)"})
      compadd -- $found
      return
      ;;
    (--job)
      found=(${(f)"$(kavrelctl $home list --names 2>/dev/null)"})
      compadd -- $found
      return
      ;;
    (--types)
      found=(@${(f)^"$(kavrelctl $home filters list --names 2>/dev/null)"})
      compadd -- $found
      return
      ;;
    (--home | --source | --dest | --to) _files -/; return ;;
    (--debug) _files; return ;;
    (--type) compadd full differential sync compressed; return ;;
    (--link-states) compadd auto off hard reflink; return ;;
    (--change-guard) compadd on off accept; return ;;
    (--unfinished-name|--sums|--scrub|--drill) compadd on off; return ;;
    (--recovery) compadd off 5 10 20; return ;;
    (--compression) compadd store fast full; return ;;
    (--mode) compadd full incremental; return ;;
    (--progress) compadd auto none json; return ;;
    (--lang) compadd zh_TW en zh_CN ja de fr es; return ;;
  esac
  if [[ $PREFIX == -* ]]; then
    # What an option does stands behind it, or below where there is no room. That of a pair stands for
    # the first of both.
    found=(${(f)"$(kavrelctl $home $path_words --help 2>/dev/null | awk '
      /^  -/ {
        text = substr($0, 3); gap = index(text, "  "); names = $1
        if (gap) text = substr(text, gap); else if ((getline text) <= 0) text = ""
        sub(/^ +/, "", text)
        count = split(names, all, ",")
        for (i = 1; i <= count; ++i) {
          if (all[i] !~ /^--/) continue
          if (sub(/[{]false[}]$/, "", all[i])) print all[i]; else print all[i] ":" text
        }
      }')"})
    _describe -o option found
    return
  fi
  # Names are taken from the English help; what each does is told in the user's language.
  help=$(kavrelctl --lang en $path_words --help 2>/dev/null)
  found=(${(f)"$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<$help)"})
  if ((${#found})); then
    found=(${(f)"$(kavrelctl $home $path_words --help 2>/dev/null |
      sed -nE "s/^  (${(j:|:)found})  +/\1:/p")"})
    _describe command found
    return
  fi
  case "$path_words" in
    (edit | remove | show | status | next | run | preview | restore | verify | scrub | drill | archives | states | versions | diff | keep | pin | unpin)
      # Behind its job, diff takes two states, pin and unpin one.
      if [[ $path_words[1] == (diff|pin|unpin) && -n $job ]]; then
        found=(${(f)"$(kavrelctl $home states "$job" --names 2>/dev/null)"})
      else
        found=(${(f)"$(kavrelctl $home list --names 2>/dev/null)"})
      fi
      compadd -- $found
      ;;
    ("rules remove" | "rules enable" | "rules disable")
      found=(${(f)"$(kavrelctl $home rules list --names 2>/dev/null)"})
      compadd -- $found
      ;;
    ("filters remove")
      found=(${(f)"$(kavrelctl $home filters list --names 2>/dev/null)"})
      compadd -- $found
      ;;
    ("settings get" | "settings set")
      found=(${${(f)"$(kavrelctl $home settings get 2>/dev/null)"}%%=*})
      compadd -- $found
      ;;
    ("drives set" | export) _files -/ ;;
    (import) _files ;;
  esac
}

_kavrelctl "$@"
