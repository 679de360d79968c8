# Completion of `rastel` for bash.
_rastel() {
  local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]}
  if [ "$COMP_CWORD" -eq 1 ]; then
    mapfile -t COMPREPLY < <(compgen -W "info dump report sum verify upgrade import export register unregister classes --help --version" -- "$word")
    return
  fi
  if [ "${COMP_WORDS[COMP_CWORD - 1]}" = --margin-mode ]; then
    mapfile -t COMPREPLY < <(compgen -W "zero periodic mirror replicate" -- "$word")
    return
  fi
  case $command,$word in
    info,-*) mapfile -t COMPREPLY < <(compgen -W "--class --json --stats --help" -- "$word") ;;
    dump,-*) mapfile -t COMPREPLY < <(compgen -W "--class --all --json --help" -- "$word") ;;
    report,-*) mapfile -t COMPREPLY < <(compgen -W "--class --output --help" -- "$word") ;;
    sum,-*) mapfile -t COMPREPLY < <(compgen -W "--quiet --progress --help" -- "$word") ;;
    verify,-*) mapfile -t COMPREPLY < <(compgen -W "--with --quiet --progress --help" -- "$word") ;;
    classes,-*) mapfile -t COMPREPLY < <(compgen -W "--json --help" -- "$word") ;;
    upgrade,-* | export,-*) mapfile -t COMPREPLY < <(compgen -W "--class --help" -- "$word") ;;
    import,-*) mapfile -t COMPREPLY < <(compgen -W "--margin --margin-mode --buffer --help" -- "$word") ;;
    register,-*) mapfile -t COMPREPLY < <(compgen -W "--user --package --help" -- "$word") ;;
    unregister,-*) mapfile -t COMPREPLY < <(compgen -W "--user --force --help" -- "$word") ;;
    *) compopt -o default ;;
  esac
}
complete -F _rastel rastel
