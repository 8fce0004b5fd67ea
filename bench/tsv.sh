# Sourced by the comparison scripts, so that bench/compare_all.sh reads their results from a
# file instead of from their tables, which differ from script to script:
#     bench_tsv ROW TOOL DIRECTION WALL_S CPU_S SIZE_MIB PEAK_RSS_KIB STATUS
# appends one tab-separated line
#     row  tool  direction  wall_s  cpu_s_per_gib  peak_rss_mib  status
# to the file named by BENCH_TSV, and does nothing when BENCH_TSV is unset. DIRECTION is
# "upload" or "download"; STATUS is "ok" or what went wrong; CPU_S is user + system seconds.
bench_tsv() {
  [ -n "${BENCH_TSV:-}" ] || return 0
  awk -v row="$1" -v tool="$2" -v dir="$3" -v w="${4:-0}" -v c="${5:-0}" -v mib="$6" -v r="${7:-0}" \
      -v st="$8" 'BEGIN {
    printf "%s\t%s\t%s\t%.2f\t%.2f\t%.1f\t%s\n", row, tool, dir, w, c * 1024 / mib, r / 1024, st
  }' >> "$BENCH_TSV"
}
