#!/bin/bash
# Every comparison of bench/ one after another, one table of all their transfers, and a plot of
# it: wall time and CPU seconds per GiB of each client, per storage and direction.
#
# Usage: bench/compare_all.sh [SIZE_MIB]            (default 1024)
#
# Runs, in this order, with the same size (each row's script documents its clients and server):
#   file   fs_compare.sh     norvik-cloud --local and cp, on the local disk
#   s3     s3_compare.sh     norvik-cloud, rclone, aws through Swift's S3 interface
#   swift  swift_compare.sh  norvik-cloud, swift through Swift's own API
#   azure  azure_compare.sh  norvik-cloud, az through azurite
#   gcs    gcs_compare.sh    norvik-cloud, gsutil through our Google Cloud Storage server
#   b2     b2_compare.sh     norvik-cloud, rclone through our B2 server
#   sftp   sftp_compare.sh   norvik-cloud, rclone, sftp and cp through OpenSSH's sshd
# Every server is an instance of the benchmark's own (ports and state folders of the BENCH_*
# variables of each script), so a test run on the same machine is not disturbed; its numbers are.
#
# Environment:
#   BENCH_ROWS         rows to run, out of the list above (default: all, in that order)
#   BENCH_OUT          folder for the logs of each row and the data (default: a new
#                      $TMPDIR/norvik-compare-all.<date>); it is kept
#   BENCH_PLOT         the plot (default docs/performance.png in the repository); its data goes
#                      next to it with the extension .tsv; BENCH_PLOT=none: no plot
#   BENCH_ROW_TIMEOUT  seconds a row may take before it is stopped and counted as failed
#                      (default 3600)
#   NORVIK_CLOUD, TMPDIR, and the BENCH_* variables of the row scripts, passed on to them
#
# Prints the progress of each row on stderr and, at the end, one table on stdout: per row, tool
# and direction the wall time, rate, CPU (user + system) seconds per GiB and peak resident set
# of the client process, and its wall time over norvik-cloud's on the same row and direction.
# A row that fails is reported as failed in the table and the others still run. Exit status: 0
# when every row ran and every transfer verified, 1 otherwise, 2 on bad usage.
set -euo pipefail

HERE="$(cd "$(dirname "$0")" && pwd)"
REPO="$(cd "$HERE/.." && pwd)"
ALL_ROWS="file s3 swift azure gcs b2 sftp"

log() { echo "[compare_all] $*" >&2; }
die() { echo "[compare_all] ERROR: $*" >&2; exit 1; }

SIZE_MIB="${1:-1024}"
[ $# -le 1 ] || { echo "usage: $0 [SIZE_MIB]" >&2; exit 2; }
[[ "$SIZE_MIB" =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [SIZE_MIB]  (a positive whole number of MiB)" >&2; exit 2; }
ROWS="${BENCH_ROWS:-$ALL_ROWS}"
for r in $ROWS; do
  case " $ALL_ROWS " in *" $r "*) ;; *) echo "BENCH_ROWS: unknown row \"$r\" ($ALL_ROWS)" >&2; exit 2 ;; esac
done
PLOT="${BENCH_PLOT:-$REPO/docs/performance.png}"
ROW_TIMEOUT="${BENCH_ROW_TIMEOUT:-3600}"
[[ "$ROW_TIMEOUT" =~ ^[1-9][0-9]*$ ]] || { echo "BENCH_ROW_TIMEOUT: a whole number of seconds" >&2; exit 2; }

# gnuplot from Debian draws the plot; the row scripts install what they need themselves.
if [ "$PLOT" != none ] && ! command -v gnuplot >/dev/null; then
  log "installing Debian package gnuplot-nox"
  . "$REPO/tests/servers/lib.sh"
  ct_apt_install gnuplot-nox || die "cannot install gnuplot-nox"
fi

STAMP="$(date -u +%Y-%m-%dT%H:%MZ)"
OUT="${BENCH_OUT:-${TMPDIR:-/tmp}/norvik-compare-all.$(date -u +%Y%m%dT%H%M%S)}"
mkdir -p "$OUT" || die "cannot create $OUT"
DATA="$OUT/results.tsv"
MACHINE="$(nproc) cores, $(awk -F': *' '/^model name/ { print $2; exit }' /proc/cpuinfo | tr -s ' '), $(
  awk '/^MemTotal:/ { printf "%.0f GiB memory", $2 / 1048576 }' /proc/meminfo)"
{
  echo "# $SIZE_MIB MiB up and down per client, $STAMP, $MACHINE"
  printf '# row\ttool\tdirection\twall_s\tcpu_s_per_gib\tpeak_rss_mib\tstatus\n'
} > "$DATA"

# --- the rows ---------------------------------------------------------------------------
FAILED=0
NOTES=()
for row in $ROWS; do
  script="$HERE/${row}_compare.sh"
  [ "$row" = file ] && script="$HERE/fs_compare.sh"
  rm -f "$OUT/$row.tsv"
  log "row $row: $script $SIZE_MIB (log $OUT/$row.log)"
  started=$(date +%s)
  rc=0
  # timeout: a hung server or client costs one row, not the whole run; the scripts clean up
  # on the TERM it sends.
  BENCH_TSV="$OUT/$row.tsv" timeout -k 60 "$ROW_TIMEOUT" "$script" "$SIZE_MIB" 2>&1 |
    tee "$OUT/$row.log" >&2 || rc=$?
  log "row $row: exit status $rc after $(( $(date +%s) - started )) s"
  if [ -s "$OUT/$row.tsv" ]; then
    cat "$OUT/$row.tsv" >> "$DATA"
  fi
  if [ "$rc" != 0 ]; then
    FAILED=1
    # A row that wrote no line at all still gets one, so that the table shows it.
    [ -s "$OUT/$row.tsv" ] || printf '%s\t-\t-\t0\t0\t0\tfailed\n' "$row" >> "$DATA"
    [ "$rc" = 124 ] && NOTES+=("$row: stopped after $ROW_TIMEOUT s; log $OUT/$row.log") ||
      NOTES+=("$row: exit status $rc; log $OUT/$row.log")
  fi
done

# --- the table --------------------------------------------------------------------------
# Wall time over norvik-cloud's: only between transfers that both succeeded.
TABLE="$(awk -F'\t' -v mib="$SIZE_MIB" '
  /^#/ { next }
  { n++; row[n] = $1; tool[n] = $2; dir[n] = $3; wall[n] = $4; cpu[n] = $5; rss[n] = $6; st[n] = $7
    if ($2 == "norvik-cloud" && $7 == "ok") ours[$1 "/" $3] = $4 }
  END {
    printf "| %-5s | %-12s | %-9s | %8s | %8s | %9s | %12s | %11s | %-8s |\n", "row", "tool", "direction",
           "wall s", "MiB/s", "CPU s/GiB", "peak RSS MiB", "wall / ours", "status"
    printf "|-------|--------------|-----------|----------|----------|-----------|--------------|-------------|----------|\n"
    for (i = 1; i <= n; i++) {
      if (st[i] != "ok") {
        printf "| %-5s | %-12s | %-9s | %8s | %8s | %9s | %12s | %11s | %-8s |\n", row[i], tool[i], dir[i],
               "-", "-", "-", "-", "-", st[i]
        continue
      }
      o = ours[row[i] "/" dir[i]]
      ratio = (o != "" && o > 0) ? sprintf("%.2f", wall[i] / o) : "n/a"
      rate = (wall[i] > 0) ? sprintf("%.1f", mib / wall[i]) : "-"
      printf "| %-5s | %-12s | %-9s | %8.2f | %8s | %9.2f | %12.1f | %11s | %-8s |\n", row[i], tool[i], dir[i],
             wall[i], rate, cpu[i], rss[i], ratio, st[i]
    }
  }' "$DATA")"

# --- the plot ---------------------------------------------------------------------------
# Bars placed by hand rather than as gnuplot's clustered histogram: the rows have different
# clients, and a column per client of all rows would leave most places empty. One group per
# row and direction, one bar per client of that row, one colour per client across all rows.
plot() {
  local bars="$OUT/bars.dat" groups="$OUT/groups.dat" legend="$OUT/legend.dat" seps="$OUT/separators.gp"
  rm -f "$bars" "$groups" "$legend" "$seps"
  awk -F'\t' -v bars="$bars" -v groups="$groups" -v legend="$legend" -v seps="$seps" '
    BEGIN {
      split("file s3 swift azure gcs b2 sftp", order, " ")
      name["file"] = "local disk"; name["s3"] = "S3 (Swift)"; name["swift"] = "Swift"; name["azure"] = "Azure (azurite)"
      name["gcs"] = "Google (ours)"; name["b2"] = "B2 (ours)"; name["sftp"] = "SFTP (sshd)"
      # norvik-cloud first and in the same colour everywhere; the others in order of appearance.
      # Each colour twice: as gnuplot takes it from a column (0xRRGGBB as a number) and for the key.
      ntools = 1; tools[1] = "norvik-cloud"; idx["norvik-cloud"] = 1
      split("d1495b 00798c edae49 30638e 66a182 8d6a9f 6c757d c97c5d 003d5b", hex, " ")
      split("13715803 31116 15576649 3171214 6726018 9267871 7107965 13204573 15707", rgb, " ")
    }
    /^#/ || $2 == "-" { next }
    {
      key = $1 SUBSEP $3
      k = ++count[key]; t[key, k] = $2; w[key, k] = $4; c[key, k] = $5; s[key, k] = $7
      if (!($2 in idx)) { idx[$2] = ++ntools; tools[ntools] = $2 }
      seen[$1] = 1
    }
    END {
      x = 0; separate = 0
      for (o = 1; o <= 7; o++) {
        r = order[o]
        if (!(r in seen)) continue
        if (separate) printf "set arrow from %.1f, graph 0 to %.1f, graph 1 nohead dt 3 lc rgb \"#999999\"\n", x - 1, x - 1 > seps
        separate = 1
        row_first = x
        for (d = 1; d <= 2; d++) {
          dir = (d == 1) ? "upload" : "download"; key = r SUBSEP dir
          if (!(key in count)) continue
          first = x
          for (k = 1; k <= count[key]; k++) {
            colour = rgb[(idx[t[key, k]] - 1) % 9 + 1]
            if (s[key, k] == "ok")
              printf "%d\t%s\t%s\t%s\t-\n", x, w[key, k], c[key, k], colour > bars
            else
              printf "%d\tNaN\tNaN\t%s\t%s\n", x, colour, s[key, k] > bars
            x++
          }
          printf "%.1f\t%s\n", (first + x - 1) / 2, dir > groups
          x++
        }
        # The row name under its groups, in both panels.
        printf "set label \"%s\" at %.1f, graph -0.09 center font \",10\"\n", name[r], (row_first + x - 2) / 2 > seps
        x++
      }
      for (i = 1; i <= ntools; i++) printf "%s\t#%s\n", tools[i], hex[(i - 1) % 9 + 1] > legend
      printf "%d\n", x - 2 > (groups ".max")
    }' "$DATA"
  [ -s "$bars" ] || { log "no transfer to plot"; return 1; }
  [ -e "$seps" ] || : > "$seps"
  local xmax key="" tool colour
  xmax=$(cat "$groups.max")
  # The key: one empty plot per client, in its colour.
  while IFS=$'\t' read -r tool colour; do
    key+=", NaN with boxes lc rgb \"$colour\" title \"$tool\""
  done < "$legend"
  cat > "$OUT/plot.gp" <<GP
set terminal pngcairo size 1600,1000 font "DejaVu Sans,10"
set output "$PLOT.tmp"
set datafile separator "\t"
set style fill solid 0.9 border rgb "#333333"
set boxwidth 0.85
set grid ytics lc rgb "#dddddd"
set xrange [-1:$xmax]
set yrange [0:*]
set offsets 0, 0, graph 0.12, 0
set key top left horizontal
set xtics scale 0 font ",9"
set bmargin 4
load "$seps"
set multiplot layout 2,1 title "norvik-cloud against other clients: $SIZE_MIB MiB up and down, $STAMP\\n$MACHINE\\nthe client process only (user + system CPU); every server runs on the same machine" font ",12"
set ylabel "wall time, s"
plot "$groups" using 1:(NaN):xtic(2) notitle, \\
     "$bars" using 1:2:4 with boxes lc rgb variable notitle, \\
     "$bars" using 1:2:(sprintf("%.1f", \$2)) with labels offset 0,0.6 font ",8" notitle, \\
     "$bars" using 1:(strcol(5) eq "-" ? NaN : 0):5 with labels rotate by 90 left offset 0,0.5 font ",8" tc rgb "#b00000" notitle$key
set ylabel "CPU, s per GiB"
plot "$groups" using 1:(NaN):xtic(2) notitle, \\
     "$bars" using 1:3:4 with boxes lc rgb variable notitle, \\
     "$bars" using 1:3:(sprintf("%.1f", \$3)) with labels offset 0,0.6 font ",8" notitle, \\
     "$bars" using 1:(strcol(5) eq "-" ? NaN : 0):5 with labels rotate by 90 left offset 0,0.5 font ",8" tc rgb "#b00000" notitle
unset multiplot
GP
  gnuplot "$OUT/plot.gp" 2> "$OUT/gnuplot.log" || { cat "$OUT/gnuplot.log" >&2; rm -f "$PLOT.tmp"; return 1; }
  mv "$PLOT.tmp" "$PLOT"
  cp "$DATA" "${PLOT%.png}.tsv"
}

if [ "$PLOT" != none ]; then
  if plot; then log "plot: $PLOT, its data: ${PLOT%.png}.tsv"; else log "WARNING: no plot (see above)"; FAILED=1; fi
fi

echo
echo "$SIZE_MIB MiB up and down per client, $STAMP; $MACHINE"
echo "(client process only: wall time, user + system CPU, peak resident set; servers on the same machine)"
echo
echo "$TABLE"
for note in "${NOTES[@]+"${NOTES[@]}"}"; do echo "- $note"; done
echo
echo "data: $DATA; logs of each row in $OUT"
exit $FAILED
