# Completes the arguments of tessary-board: its commands, the boards by name or file, and after -- the program's own.
_tessary_board() {
  local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} at choices
  for ((at = 2; at < COMP_CWORD; ++at)); do
    if [ "${COMP_WORDS[at]}" = -- ]; then
      _command_offset $((at + 1))
      return
    fi
  done
  if ((COMP_CWORD == 1)); then
    choices='run list show --help --version'
  elif [ "${COMP_WORDS[COMP_CWORD - 1]}" = --time ]; then
    choices='real stepped'
  elif [[ $word == -* ]]; then
    case $command in
      run) choices='--time --seed --from --speed --help --' ;;
      show) choices='--json --help' ;;
      *) choices=--help ;;
    esac
  elif [ "$command" != list ]; then
    choices=$(tessary-board list 2>/dev/null | cut -d' ' -f1)
    compopt -o default
  fi
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
}
complete -F _tessary_board tessary-board
