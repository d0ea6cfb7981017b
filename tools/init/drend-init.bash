# SPDX-License-Identifier: BSD-2-Clause
# bash completion for drend-init: its options, and files.
# shellcheck shell=bash

_drend_init() {
  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  if [[ $before == "=" ]]; then # bash splits --option=value in three
    before=${COMP_WORDS[COMP_CWORD - 2]}
  elif [[ $current == "=" ]]; then
    current=""
  fi
  if [[ $before == --command || $before == --app ]]; then
    return
  elif [[ $before == --path ]]; then
    compopt -o filenames # has the names quoted
    mapfile -t COMPREPLY < <(compgen -d -- "$current")
  elif [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "--path --command --app --help --version" -- "$current")
  else
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -F _drend_init drend-init
