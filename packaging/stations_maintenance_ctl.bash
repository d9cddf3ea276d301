# Completion of stations_maintenance_ctl for bash.

# The command's words so far, without options and their values: "reports list".
_stations_maintenance_ctl_command() {
  local word skip=
  local -a found=()
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    # bash takes "--option=value" for three words.
    if [[ $word == = ]]; then
      skip=1
      continue
    fi
    if [[ -n $skip ]]; then
      skip=
      continue
    fi
    case $word in
      --runtime-dir) skip=1 ;;
      -*) ;;
      *)
        found+=("$word")
        [[ ${#found[@]} -lt 2 && $word != watch ]] || break
        ;;
    esac
  done
  printf '%s' "${found[*]}"
}

_stations_maintenance_ctl() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local common='--help --json --verbose --runtime-dir'
  local conditions='--station --type --older-than --newer-than --larger-than'
  local words=
  COMPREPLY=()
  if [[ $current == = ]]; then
    current=
  elif [[ $previous == = ]]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi

  case $previous in
    --runtime-dir)
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      return
      ;;
    --type)
      mapfile -t COMPREPLY < <(compgen -W 'manual periodic' -- "$current")
      return
      ;;
    --sort)
      mapfile -t COMPREPLY < <(compgen -W 'id station name time type size' -- "$current")
      return
      ;;
    --older-than | --newer-than | --period | --timeout)
      mapfile -t COMPREPLY < <(compgen -W '1h 1d 7d 30d' -- "$current")
      return
      ;;
    --station | --larger-than | --max-periodic | --model | --version | --address)
      return
      ;;
  esac

  local command
  command=$(_stations_maintenance_ctl_command)
  case $command in
    '') words="config firmware reports watch --version" ;;
    config) words='get set' ;;
    firmware) words='list show add delete available' ;;
    reports) words='list generate delete export folder' ;;
    'config set') words='--max-periodic --period --enable --disable' ;;
    'firmware add') words='--model --version --address --timeout' ;;
    'firmware delete') words='--yes' ;;
    'firmware available') words='--station' ;;
    'reports list') words="$conditions --sort --reverse" ;;
    'reports generate') words='--station --all --type --wait --timeout' ;;
    'reports delete') words="$conditions --all --yes --timeout" ;;
    'reports export') words="$conditions --all --append --timeout" ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words $common" -- "$current")
  if [[ ($command == 'firmware add' || $command == 'reports export') && $current != -* ]]; then
    mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$current")
    compopt -o filenames 2>/dev/null
  fi
}

complete -F _stations_maintenance_ctl stations_maintenance_ctl
