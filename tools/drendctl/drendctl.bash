# bash completion for drendctl: options from here, the words of requests from the daemon that the
# command line or DRENDCTL_SOCKET names. Nothing is offered when it does not answer within a second.
# shellcheck shell=bash

_drendctl() {
  local current=${COMP_WORDS[COMP_CWORD]} words="" socket=() offered=() i
  COMPREPLY=()

  # What stands in front: the request's words, and which option waits for its value.
  local waiting=""
  for ((i = 1; i < COMP_CWORD; ++i)); do
    local word=${COMP_WORDS[i]}
    if [[ $word == "=" && $waiting == --* ]]; then
      continue # bash splits --option=value in three
    elif [[ -n $waiting ]]; then
      [[ $waiting != --socket ]] || socket=(--socket "$word")
      waiting=""
    else
      case $word in
        --socket | --timeout | --filter | --limit | --color) waiting=$word ;;
        --socket=*) socket=("$word") ;;
        -*) ;;
        =) words=${words% }= ;; # bash splits NAME=VALUE, too
        *) words+="$word " ;;
      esac
    fi
  done
  if [[ $current == "=" ]]; then
    [[ -n $waiting ]] || words=${words% }=
    current=""
  fi

  case $waiting in
    --socket | --filter)
      compopt -o filenames # has the names quoted
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      ;;
    --color) mapfile -t COMPREPLY < <(compgen -W "auto always never" -- "$current") ;;
    --*) ;;
    *)
      if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "--socket --timeout --xml --json --table --lines
          --plain-json --count --wide --limit --watch --filter --list --color --help --version" \
          -- "$current")
      else
        mapfile -t offered < <("${COMP_WORDS[0]}" "${socket[@]}" \
          --complete "$words$current" 2>/dev/null </dev/null)
        [[ $words != *= ]] || offered=("${offered[@]#*=}")
        [[ ${offered[0]-} != *= ]] || compopt -o nospace # a value follows
        # The words are whatever the daemon says, and what is completed is run by the shell.
        [[ ${#offered[@]} -eq 0 ]] || mapfile -t COMPREPLY < <(printf '%q\n' "${offered[@]}")
      fi
      ;;
  esac
}

complete -F _drendctl drendctl
