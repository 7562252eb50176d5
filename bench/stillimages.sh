# Sourced by the search benchmarks: fills the array `files` with the still images among
# the given files and folders (animations are judged on their first frame only, so they
# would skew the figures).
still_images() {
  files=()
  local p f
  for p in "$@"; do
    if [[ -d $p ]]; then
      for f in "$p"/*; do
        case ${f,,} in *.jpg|*.jpeg|*.png|*.webp|*.avif|*.tif|*.tiff) ;; *) continue ;; esac
        [[ $(vipsheader -f n-pages "$f" 2>/dev/null || echo 1) -le 1 ]] && files+=("$f")
      done
    else
      files+=("$p")
    fi
  done
}
