# Completion of kavrelctl for bash. Commands and options are those that --help lists; jobs, archives,
# states, rules and filters those of the program folder.

_kavrelctl_names() {
  # A name may hold blanks and quotes: each becomes one word, quoted as the shell wants it.
  local name line
  while IFS= read -r name; do
    printf -v line %q "$name"
    [[ $line == "$cur"* || $name == "$cur"* ]] && COMPREPLY+=("$line")
  done < <(kavrelctl "${home[@]}" "$@" --names 2>/dev/null)
}

_kavrelctl() {
  local cur=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} word help job=
  local -a home=() path=() words=()
  local -i i
  COMPREPLY=()
  # The command so far: one word, or two for those that have commands of their own.
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    if [[ $word == --home=* ]]; then
      home=("$word")
    elif [[ $word == --home || $word == --debug || $word == --wait || $word == --lang ]]; then
      # The shell makes three words of --home=DIR.
      [[ ${COMP_WORDS[i + 1]} == = ]] && ((++i))
      [[ $word == --home ]] && home=(--home "${COMP_WORDS[i + 1]}")
      ((++i))
    elif [[ $word != -* ]]; then
      if [[ ${#path[@]} -eq 0 || (${#path[@]} -eq 1 && ${path[0]} =~ ^(rules|filters|settings|drives)$) ]]; then
        path+=("$word")
      elif [[ -z $job ]]; then
        job=$word
      fi
    fi
  done
  if [[ $cur == = ]]; then
    cur=
  elif [[ $previous == = ]]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  # A job's name as it was typed, its quotes taken away by the shell itself.
  if [[ $job != *[\$\`\(]* ]]; then eval "job=$job" 2>/dev/null; fi
  case $previous in
  --archive | --list)
    _kavrelctl_names archives "$job"
    return
    ;;
  --job)
    _kavrelctl_names list
    return
    ;;
  --state)
    [[ latest == "$cur"* ]] && COMPREPLY=(latest)
    _kavrelctl_names states "$job"
    return
    ;;
  --types)
    if [[ $cur == @* ]]; then
      local -a found=()
      mapfile -t found < <(kavrelctl "${home[@]}" filters list --names 2>/dev/null)
      mapfile -t COMPREPLY < <(printf '%s\n' "${found[@]/#/@}" | grep -F -- "$cur" | sed 's/ /\\ /g')
    fi
    return
    ;;
  --home | --source | --dest | --to)
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "$cur")
    return
    ;;
  --lang)
    mapfile -t COMPREPLY < <(compgen -W "zh_TW en zh_CN ja de fr es" -- "$cur")
    return
    ;;
  --debug)
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
    return
    ;;
  --type) words=(full differential sync compressed) ;;
  --link-states) words=(auto off hard reflink) ;;
  --change-guard) words=(on off accept) ;;
  --unfinished-name|--sums|--scrub|--drill) words=(on off) ;;
  --recovery) words=(off 5 10 20) ;;
  --compression) words=(store fast full) ;;
  --mode) words=(full incremental) ;;
  --progress) words=(auto none json) ;;
  esac
  if [[ ${#words[@]} -eq 0 ]]; then
    help=$(kavrelctl --lang en "${path[@]}" --help 2>/dev/null)
    if [[ $cur == -* ]]; then
      mapfile -t words < <(grep -oE -- '--[a-z][a-z-]*' <<<"$help" | sort -u)
    else
      mapfile -t words < <(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help")
    fi
  fi
  mapfile -t COMPREPLY < <(compgen -W "${words[*]}" -- "$cur")
  [[ $cur == -* || ${#words[@]} -gt 0 ]] && return
  case "${path[*]}" in
  edit | remove | show | status | next | run | preview | restore | verify | scrub | drill | archives | states | versions | diff | keep | pin | unpin)
    # Behind its job, diff takes two states, pin and unpin one.
    if [[ ${path[0]} =~ ^(diff|pin|unpin)$ && -n $job ]]; then
      _kavrelctl_names states "$job"
    else
      _kavrelctl_names list
    fi
    ;;
  "rules remove" | "rules enable" | "rules disable") _kavrelctl_names rules list ;;
  "filters remove") _kavrelctl_names filters list ;;
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
