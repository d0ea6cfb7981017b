# SPDX-License-Identifier: BSD-2-Clause
# bash completion for drend-lint: its options, and files.
# shellcheck shell=bash

_drend_lint() {
  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  if [[ $before == "=" ]]; then # bash splits --option=value in three
    before=${COMP_WORDS[COMP_CWORD - 2]}
  elif [[ $current == "=" ]]; then
    current=""
  fi
  if [[ $before == --format ]]; then
    mapfile -t COMPREPLY < <(compgen -W "text json sarif" -- "$current")
  elif [[ $before != --model && $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "--model --format --strict --help --version" -- "$current")
  else
    compopt -o filenames # has the names quoted
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -F _drend_lint drend-lint
