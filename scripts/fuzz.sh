#!/usr/bin/env bash
# Fuzzing; docs/fuzzing.md tells more.
#   fuzz.sh run TARGET|all [RUNS]   fuzzes, from the corpus that earlier runs left (default 10000000)
#   fuzz.sh heap player [RUNS]      the same, quicker, with a checked heap instead of the address sanitizer
#   fuzz.sh short TARGET            the fixed run that is a test: from the seeds, nothing is kept
#   fuzz.sh coverage [TARGET]       the lines of src/ that seeds and corpus reach
#   fuzz.sh build                   builds the targets and their seeds
set -euo pipefail
cd "$(dirname "$0")/.."

work=build/fuzz
# Some targets write files; a disk would be the slowest part.
[[ -w /dev/shm ]] && export TMPDIR=/dev/shm
# By target: how many inputs the short run takes, the longest input, and which files of src/ it is
# there for.
targets=(inbound line_frames net_packet local_upgrade settings pictures player rtp)
declare -A short_runs=([inbound]=20000 [line_frames]=20000 [net_packet]=20000 [local_upgrade]=10000
  [settings]=5000 [pictures]=20000 [player]=100 [rtp]=200)
declare -A longest=([inbound]=128 [line_frames]=512 [net_packet]=512 [local_upgrade]=256 [settings]=256
  [pictures]=2048 [player]=32768 [rtp]=16384)
declare -A sources=(
  [inbound]='protocol/(InboundFrames|Field|ModelTable)|CMainInbound'
  [line_frames]='LineFrameAssembler|LineCoding|FrameObject|UpgradeExchange'
  [net_packet]='NetPacket|FirmwareChunks|UpgradeExchange'
  [local_upgrade]='firmware/(local/|UpgradeLog)'
  [settings]='settings/SettingsText|compat/Settings'
  [pictures]='video/PictureAssembler'
  [player]='video/(MediaStream|DecodeTask|FrameConverter|PlaybackState|StreamOptions)'
  [rtp]='video/(AnnexB|DecodeTask|KeyGate|MediaStream|PictureAssembler|ReorderDepth|SenderHabits|SliceStart)'
)

# The player's bare streams, each behind a byte that tells its codec and whether it is to be sent as
# a transport stream.
make_rtp_seeds() {
  local stream codec kind
  for stream in "$work"/seeds/player/*.h26[45]; do
    codec=$((${stream: -1} - 4))
    for kind in "$codec" $((codec + 2)); do
      printf '%b' "\\x0$kind" | cat - "$stream" >"$work/seeds/rtp/$kind-$(basename "$stream")"
    done
  done
}

# One input for every line of hexadecimal digits, '#' begins a comment; or the files of a folder;
# or streams from ffmpeg.
make_seeds() {
  local target=$1 line number=0
  mkdir -p "$work/seeds/$target" "$work/corpus/$target" "$work/findings"
  if [[ $target == player ]]; then
    [[ $work/seeds/player/h264.ts -nt fuzz/make-streams.sh ]] || fuzz/make-streams.sh "$work/seeds/player"
    return
  fi
  if [[ $target == rtp ]]; then
    make_rtp_seeds
    return
  fi
  if [[ -d fuzz/seeds/$target ]]; then
    cp "fuzz/seeds/$target/"* "$work/seeds/$target"
    return
  fi
  while read -r line; do
    line=$(tr a-f A-F <<<"${line%%#*}" | tr -cd 0-9A-F)
    [[ -z $line ]] && continue
    number=$((number + 1))
    basenc --base16 --decode <<<"$line" >"$work/seeds/$target/$number"
  done <"fuzz/seeds/$target.hex"
}

build() {
  local preset=${1:-fuzz} log target
  cmake --preset "$preset" >/dev/null
  if ! log=$(cmake --build --preset "$preset" 2>&1); then
    echo "$log" >&2
    exit 1
  fi
  for target in "${targets[@]}"; do
    make_seeds "$target"
  done
}

# Runs a target of the given build with the options that belong to it, then those given.
run_target() {
  local build=$1 target=$2 options
  shift 2
  options=(-max_len="${longest[$target]}" -timeout=60 -report_slow_units=60 -rss_limit_mb=1024 -malloc_limit_mb=256
    -artifact_prefix="$work/findings/$target-" -print_final_stats=1)
  # What QSettings keeps looks like a leak to the check after each input; the one at the end knows.
  [[ $target == settings ]] && options+=(-detect_leaks=0)
  [[ -e fuzz/$target.dict ]] && options+=(-dict="fuzz/$target.dict")
  ASAN_OPTIONS=quarantine_size_mb=16:malloc_context_size=2:max_malloc_fill_size=0 LSAN_OPTIONS="suppressions=$PWD/scripts/lsan-suppressions.txt" \
    "$build/fuzz/fuzz_$target" "${options[@]}" "$@"
}

short() {
  local target=$1 seeds
  seeds=$(find "$work/seeds/$target" -type f | sort | paste -sd ,)
  run_target "$work" "$target" -verbosity=0 -seed=1 -runs="${short_runs[$target]}" -seed_inputs="$seeds"
}

long() {
  local build=$1 target=$2 runs=$3
  shift 3
  run_target "$build" "$target" -runs="$runs" "$@" "$work/corpus/$target" "$work/seeds/$target"
}

# Memory that was written past its end is told when it is freed, by an abort under the heap's lock:
# libFuzzer could not save the input then, but the target's own file of it stays. Freed memory is
# kept, or most of the time would go into fetching and clearing pages.
heap() {
  LD_PRELOAD=libc_malloc_debug.so.0 MALLOC_CHECK_=3 TMPDIR=$work/findings \
    GLIBC_TUNABLES=glibc.malloc.mmap_threshold=1073741824:glibc.malloc.trim_threshold=1073741824:glibc.malloc.top_pad=67108864 \
    long build/fuzz-heap player "$1" -handle_abrt=0
}

coverage() {
  local target=$1 build=build/fuzz-coverage profile
  profile=$PWD/$build/$target
  LLVM_PROFILE_FILE=$profile.profraw \
    run_target "$build" "$target" -runs=0 "$work/corpus/$target" "$work/seeds/$target" >"$profile.log" 2>&1
  llvm-profdata merge -o "$profile.profdata" "$profile.profraw"
  llvm-cov report "$build/fuzz/fuzz_$target" -instr-profile="$profile.profdata" \
    -show-region-summary=false -show-branch-summary=false |
    awk -v target="$target" -v wanted="src/.*(${sources[$target]}).*[.](cpp|h)$" '
      $1 ~ wanted && $1 !~ /autogen/ {
        sub(/^.*src/, "src", $1)
        printf "%-14s %-50s %4d lines, %s\n", target, $1, $(NF - 2), $NF
      }'
}

chosen=("${targets[@]}")
[[ ${2:-all} != all ]] && chosen=("$2")
case ${1:-} in
build) build ;;
short) short "$2" ;;
run)
  build
  for target in "${chosen[@]}"; do
    long "$work" "$target" "${3:-10000000}"
  done
  ;;
heap)
  if [[ ${2:-} != player ]]; then
    echo "fuzz.sh: the checked heap is for the player" >&2
    exit 1
  fi
  build fuzz-heap
  heap "${3:-10000000}"
  ;;
coverage)
  build fuzz-coverage
  for target in "${chosen[@]}"; do
    coverage "$target"
  done
  ;;
*)
  sed -n '2,/^set/{/^#/s/^# \?//p}' "$0" >&2
  exit 2
  ;;
esac
