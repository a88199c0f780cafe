# Bash completion of qat: commands, options, files, and names of signals in the file that comes before them.

_qat() {
  local cur prev words cword
  _init_completion -n : || return
  local commands="ls show export diff plot view watch check"
  local command=${words[1]}
  if [ "$cword" -eq 1 ]; then
    COMPREPLY=($(compgen -W "$commands --help --version" -- "$cur"))
    return
  fi
  case $prev in
    --format)
      COMPREPLY=($(compgen -W "csv json sqlite npz" -- "$cur"))
      return
      ;;
    -o | --output | --plot | --compare | --tolerances)
      _filedir
      return
      ;;
    --export)
      _filedir -d
      return
      ;;
    --port | --run | --runs | --over | --from | --to | --every | --rtol | --atol | --time-tol | --head | --tail)
      return
      ;;
  esac
  if [[ $cur == -* ]]; then
    local options="--help"
    case $command in
      ls) options+=" --run --runs --json --tree --long" ;;
      show) options+=" --run --runs --head --tail --from --to --json" ;;
      export) options+=" --run --runs --format --output --split --raw --from --to --every" ;;
      diff) options+=" --run --runs --rtol --atol --time-tol --tolerances --json --plot" ;;
      check) options+=" --mend" ;;
      plot) options+=" --run --runs --over --output --from --to --xy --compare" ;;
      view) options+=" --port --export" ;;
    esac
    COMPREPLY=($(compgen -W "$options" -- "$cur"))
    return
  fi
  # The first words that are no options are files, one or (for diff and view) two; then come signals, which check and
  # view do not take.
  local files=1 file="" count=0 i
  [[ $command == diff || $command == view ]] && files=2
  for ((i = 2; i < cword; i++)); do
    case ${words[i]} in
      --json | --tree | --long | --split | --raw | --xy | --mend | --help | --*=*) continue ;;
      -*)
        i=$((i + 1)) # its value
        continue
        ;;
    esac
    [ $count -eq 0 ] && file=${words[i]}
    count=$((count + 1))
  done
  if [ $count -lt $files ] || [[ $command == check || $command == view ]]; then
    _filedir
    return
  fi
  local IFS=$'\n' name
  COMPREPLY=()
  for name in $("${words[0]}" complete-signals "${file/#\~/$HOME}" "$cur" 2>/dev/null); do
    COMPREPLY+=("$(printf '%q' "$name")")
  done
  __ltrim_colon_completions "$cur"
}

complete -F _qat qat
