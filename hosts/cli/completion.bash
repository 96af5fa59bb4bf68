# bash completion for vello

_vello_filter_names() { vello filters 2>/dev/null | sed 's/[[:space:]].*//'; }

_vello_words() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "$cur"); }
_vello_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -f -- "$cur")
}

_vello() {
  local cur=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
    _vello_words 'render filter filters chain --help --version'
    return
  fi
  case $before in
    --format) _vello_words 'tiff png jpeg'; return ;;
    --depth) _vello_words '8 16'; return ;;
    --quality | --dpi | --jobs | --extent | -p | --parameter) return ;;
    --category) _vello_words 'Blur ColorAdjustment ColorEffect CompositeOperation DistortionEffect Generator
        GeometryAdjustment Gradient HalftoneEffect Reduction Sharpen Stylize TileEffect Transition'; return ;;
    --chain | -o | --output | --for) _vello_files; return ;;
    --out-dir) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -d -- "$cur"); return ;;
  esac
  case $command in
    render)
      if [[ $cur == -* ]]; then
        _vello_words '--chain -o --output --out-dir --format --depth --quality --dpi --jobs --explain --verbose --help'
      else
        _vello_files
      fi ;;
    filter)
      if [[ $cur == -* ]]; then
        _vello_words '-o --output -p --parameter --extent --depth --manage-colors --help'
      elif [ "$COMP_CWORD" -eq 2 ]; then
        _vello_words "$(_vello_filter_names)"
      else
        _vello_files
      fi ;;
    filters)
      if [[ $cur == -* ]]; then _vello_words '--category --json --help'; else _vello_words "$(_vello_filter_names)"; fi ;;
    chain)
      if [ "$COMP_CWORD" -eq 2 ]; then
        _vello_words 'check show new --help'
      elif [ "${COMP_WORDS[2]}" = new ]; then
        if [[ $cur == -* ]]; then _vello_words '--for -o --output --help'; else _vello_words "$(_vello_filter_names)"; fi
      else
        _vello_files
      fi ;;
  esac
}

complete -F _vello vello
