#compdef kavrelctl
# Commands and options are those that --help lists, jobs those of the program folder.

_kavrelctl() {
  local word help previous=${words[CURRENT - 1]}
  local -a home path_words found
  local -i i
  for ((i = 2; i < CURRENT; ++i)); do
    word=${words[i]}
    if [[ $word == --home ]]; then
      home=(--home "${(Q)words[i + 1]}")
      ((++i))
    elif [[ $word == --debug ]]; then
      ((++i))
    elif [[ $word != -* ]] && ((${#path_words} < 2)); then
      case "$path_words[1]" in
        ("" | rules | filters | settings | drives) path_words+=("$word") ;;
      esac
    fi
  done
  case $previous in
    (--home | --source | --dest | --archive) _files -/; return ;;
    (--debug) _files; return ;;
    (--type) compadd full differential sync compressed; return ;;
    (--compression) compadd store fast full; return ;;
    (--mode) compadd full incremental; return ;;
  esac
  help=$(kavrelctl $path_words --help 2>/dev/null)
  if [[ $PREFIX == -* ]]; then
    found=(${(fu)"$(grep -oE -- '--[a-z][a-z-]*' <<<$help)"})
    compadd -- $found
    return
  fi
  found=(${(f)"$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<$help)"})
  if ((${#found})); then
    compadd -- $found
    return
  fi
  case "$path_words" in
    (edit | remove | show | run | preview | restore | verify | archives)
      found=(${(f)"$(kavrelctl $home list --names 2>/dev/null)"})
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
