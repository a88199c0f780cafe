# Bash completion of vtio-run: commands, options, FMUs and other files.

_vtio_run() {
  local cur prev words cword
  _init_completion || return
  local commands="run sweep compare info check"
  local command=${words[1]}
  if [ "$cword" -eq 1 ]; then
    COMPREPLY=($(compgen -W "$commands --help --version" -- "$cur"))
    return
  fi
  case $prev in
    --kind)
      COMPREPLY=($(compgen -W "cs me" -- "$cur"))
      return
      ;;
    --solver)
      COMPREPLY=($(compgen -W "bdf adams" -- "$cur"))
      return
      ;;
    --input)
      _filedir '@(csv|qat)'
      return
      ;;
    --selection)
      _filedir json
      return
      ;;
    --table | --tolerances | -o | --output)
      _filedir
      return
      ;;
    --start | --stop | --step | --output-step | --tolerance | --set | --rewind | --max-change | --signals | \
      --decimate | --max-points | --intervals | --log | --step-timeout | --grid | --sample | --runs | --seed | \
      --final | -j | --jobs | --shard | --rtol | --atol | --time-tol)
      return
      ;;
  esac
  if [[ $cur == -* ]]; then
    local run="--kind --solver --start --stop --step --output-step --tolerance --set --rewind --max-change --input
      --signals
      --parameters --locals --decimate --max-points --intervals --selection --log --build --stream --isolate
      --step-timeout --output"
    local options="--help"
    case $command in
      run) options+=" $run" ;;
      sweep) options+=" $run --table --grid --sample --runs --seed --final --jobs --resume --shard" ;;
      compare) options+=" $run --rtol --atol --time-tol --tolerances --json" ;;
      info) options+=" --set --json" ;;
    esac
    COMPREPLY=($(compgen -W "$options" -- "$cur"))
    return
  fi
  # The first word that is no option is the FMU; compare has a reference behind it.
  local count=0 i
  for ((i = 2; i < cword; i++)); do
    [[ ${words[i]} == -* || ${words[i - 1]} == -* ]] || count=$((count + 1))
  done
  if [ $count -eq 0 ]; then
    _filedir fmu
  elif [ "$command" = compare ]; then
    _filedir '@(csv|qat)'
  fi
}

complete -F _vtio_run vtio-run
