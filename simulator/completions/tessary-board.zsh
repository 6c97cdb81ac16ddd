#compdef tessary-board
# Completes the arguments of tessary-board: its commands, the boards by name or file, and after -- the program's own.
_tessary_board_boards() {
  local -a boards
  boards=(${(f)"$(tessary-board list 2>/dev/null | sed 's/  */:/')"})
  _describe board boards || _files -g '*.json*'
}
if ((CURRENT == 2)); then
  _values command \
    'run[Run a command on a board]' 'list[List the boards]' 'show[Show what is on a board]' '--help' '--version'
  return
fi
local command=$words[2]
shift words
((CURRENT--))
case $command in
  run) _arguments '--time[The time of the board]:time:(real stepped)' '--seed[What the noise comes from]:seed:' \
         '--from[Where a recording begins]:seconds:' '--speed[Of a recording]:factor:' \
         '1:board:_tessary_board_boards' '*::command: _normal' ;;
  show) _arguments '--json[The file of the board]' '1:board:_tessary_board_boards' ;;
esac
