# Completion of ozna for bash: commands, their options, and the values of options.

_ozna() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
  local inputs='--recursive --null --input --memory'
  local search='--preset --min-face --margin --turns --max-upscale --max-image-side --min-face-fraction
                --pyramid-levels --pyramid-factor --window-size --models'
  local run="$inputs $search --format --json --safe-cells --with-faces --without-faces --min-score --details --strict --overwrite --skip-existing --quiet --jobs --progress --resume --shard --xmp --xmp-name --embed
             --biggest --best"
  COMPREPLY=()

  if [ "$COMP_CWORD" -eq 1 ]; then
    COMPREPLY=($(compgen -W 'detect align annotate crop report models info bench help --help --version' -- "$current"))
    return
  fi

  local words=
  case "$previous" in
    --format) case "$command" in models | info | bench) words='text json' ;; *) words='text json csv coco' ;; esac ;;
    -j | --jobs) words='auto 1 2 4 8' ;;
    --progress) words='auto always never' ;;
    --turns) words='1 4' ;;
    --xmp-name) words='full stem' ;;
    --preset) words='fast balanced thorough' ;;
    --points) case "$command" in align) words='68 5' ;; *) words='68 5 0' ;; esac ;;
    --models | --xmp)
      compopt -o filenames
      COMPREPLY=($(compgen -d -- "$current"))
      return ;;
    --box | --margin | --max-image-side | --max-upscale | --memory | --min-face | --min-face-fraction | --min-score | \
    --pyramid-factor | --pyramid-levels | --rounds | --shard | --size | --window-size)
      return ;;
  esac
  if [ -n "$words" ]; then
    COMPREPLY=($(compgen -W "$words" -- "$current"))
    return
  fi

  if [[ $current == -* ]]; then
    case "$command" in
      detect) words="$run --annotate" ;;
      align) words="$run --annotate --points --box" ;;
      annotate) words="$run --output --points" ;;
      crop) words="$run --output --size" ;;
      report) words="$run --output" ;;
      models | info) words='--format --json --models' ;;
      bench) words="$inputs $search --format --json --points --rounds" ;;
    esac
    COMPREPLY=($(compgen -W "$words --help" -- "$current"))
    return
  fi
  compopt -o filenames
  COMPREPLY=($(compgen -f -- "$current"))
}

complete -F _ozna ozna
