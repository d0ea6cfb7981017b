# SPDX-License-Identifier: BSD-2-Clause
# bash completion for drend-preview: options from here, commands from the definitions that the
# command line names.
# shellcheck shell=bash

_drend_preview() {
  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} words=() offered i
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      --data | --seed | --filter | --serve) ((++i)) ;;
      -*) ;;
      *) words+=("${COMP_WORDS[i]}") ;;
    esac
  done
  if [[ $before == --seed || $before == --filter ]]; then
    return
  elif [[ $before != --data && $before != --serve && $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "--data --seed --print-data --json --table --filter --watch --serve
      --help --version" -- "$current")
  elif [[ $before == --data || $before == --serve || ${#words[@]} -eq 0 ]]; then
    compopt -o filenames # has the names quoted
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  elif [[ ${#words[@]} -eq 1 ]]; then
    offered=$("${COMP_WORDS[0]}" "${words[0]}" 2>/dev/null | cut -d " " -f 1)
    mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$current")
  fi
}

complete -F _drend_preview drend-preview
