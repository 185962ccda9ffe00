# Completion of kavrelctl for bash. Commands and options are those that --help lists, jobs those
# of the program folder.

_kavrelctl_jobs() {
  # A name may hold blanks and quotes: each becomes one word, quoted as the shell wants it.
  local name line
  while IFS= read -r name; do
    printf -v line %q "$name"
    [[ $line == "$cur"* || $name == "$cur"* ]] && COMPREPLY+=("$line")
  done < <(kavrelctl "${home[@]}" list --names 2>/dev/null)
}

_kavrelctl() {
  local cur=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} word help
  local -a home=() path=() words=()
  local -i i
  COMPREPLY=()
  # The command so far: one word, or two for those that have commands of their own.
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    if [[ $word == --home ]]; then
      home=(--home "${COMP_WORDS[++i]}")
    elif [[ $word == --debug ]]; then
      ((++i))
    elif [[ $word != -* && ${#path[@]} -lt 2 ]]; then
      case "${path[0]:-}" in
      "" | rules | filters | settings | drives) path+=("$word") ;;
      esac
    fi
  done
  case $previous in
  --home | --source | --dest | --archive | --to)
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "$cur")
    return
    ;;
  --debug)
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
    return
    ;;
  --type) words=(full differential sync compressed) ;;
  --compression) words=(store fast full) ;;
  --mode) words=(full incremental) ;;
  esac
  if [[ ${#words[@]} -eq 0 ]]; then
    help=$(kavrelctl "${path[@]}" --help 2>/dev/null)
    if [[ $cur == -* ]]; then
      mapfile -t words < <(grep -oE -- '--[a-z][a-z-]*' <<<"$help" | sort -u)
    else
      mapfile -t words < <(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help")
    fi
  fi
  mapfile -t COMPREPLY < <(compgen -W "${words[*]}" -- "$cur")
  [[ $cur == -* || ${#words[@]} -gt 0 ]] && return
  case "${path[*]}" in
  edit | remove | show | run | preview | restore | verify | archives) _kavrelctl_jobs ;;
  "settings get" | "settings set")
    mapfile -t COMPREPLY < <(compgen -W "$(kavrelctl "${home[@]}" settings get 2>/dev/null |
      cut -d= -f1)" -- "$cur")
    ;;
  import)
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
    ;;
  "drives set" | export)
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "$cur")
    ;;
  esac
}

complete -F _kavrelctl kavrelctl
