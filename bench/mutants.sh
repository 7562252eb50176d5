#!/usr/bin/env bash
# Fault injection: does the test suite notice small deliberate faults?
#
#   bench/mutants.sh [REVISION] [ID...]
#
# Copies REVISION (default HEAD) of this repository into a scratch folder with a build of
# its own, then for each fault of the list below: applies it to the copy, rebuilds, runs
# the tests of the fault's folder until the first failure, then (if none failed) the rest
# of the suite; restores the file. Prints one line per fault (caught by which test, or
# missed) and the totals. Give IDs to run only those faults.
#
# A fault that is missed is a test to write, not a fault to drop from the list.
set -uo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
rev=${1:-HEAD}
shift || true
only=("$@")
scratch_root=${DRAVIK_MUTANTS_DIR:-${TMPDIR:-/tmp}/dravik-mutants}
tree=$scratch_root/$(git -C "$root" rev-parse --short "$rev")
build=$tree/build
jobs=${DRAVIK_MUTANTS_JOBS:-2}
# Extra configure arguments for the scratch build (a compiler launcher, for instance).
# A fault can turn a wait into a hang; a test past this many seconds counts as failed.
test_timeout=${DRAVIK_MUTANTS_TIMEOUT:-240}

# id | folder whose tests are run first | file | perl substitution applied once to the file
faults=$(cat <<'EOF'
e01|engine|engine/options.cpp|s/parseInt\(v, 1, 8\)/parseInt(v, 1, 9)/
e02|engine|engine/options.cpp|s/\{"-resizenozoom"/{"-resizenozom"/
e03|engine|engine/exitcodes.h|s/SizeLimit = 94/SizeLimit = 84/
e04|engine|engine/resize.cpp|s/std::max\(1, int\(std::lround/std::max(0, int(std::lround/
e05|engine|engine/quality.cpp|s/kSafetyFactor = 0.8/kSafetyFactor = 1.0/
e06|engine|engine/sizelimit.cpp|s/return tried\[lo\];/return tried[hi];/
e07|engine|engine/atomicwrite.cpp|s/if \(::rename\(temp.c_str\(\), path.c_str\(\)\) != 0\)/if (false)/
e08|engine|engine/paths.cpp|s/\(f == Format::Jpeg && endsWithNoCase\(o.out, ".jpeg"\)\)/false/
e09|engine|engine/exitcodes.cpp|s/if \(c == '\\n' \|\| c == '\\r'\)/if (c == '\\r')/
e10|engine|engine/resize.cpp|s/Kernel::Quality \? 2.0 : 1.0/Kernel::Quality ? 1.5 : 1.0/
e11|engine|engine/stamp.cpp|s/o.stampOpacity \/ 100.0/o.stampOpacity \/ 90.0/
e12|engine|engine/marks.cpp|s/kKeyword\[\] = "DravikMark"/kKeyword[] = "DravikMarc"/
e13|engine|engine/levelsearch.cpp|s/constexpr double kLosslessWorth = 2.0;/constexpr double kLosslessWorth = 0.0;/
e14|engine|engine/pipeline.cpp|s/SearchContext context\(bool jpeg = false\)/SearchContext context(bool jpeg = true)/
e15|engine|engine/levelsearch.cpp|s/return judgeWhole\(c.judge, c.sample, \*whole, (vips::VImage::new_from_buffer\(bytes.data\(\), bytes.size\(\), ""\))\);/return judgePixels(c.judge, c.sample, cutLikeSample(c.sample, $1));/
e16|engine|engine/pipeline.cpp|s/: jpeg && sample_->crowded \?/: false ?/
e17|engine|engine/levelsearch.cpp|s/const int chosen = within \? within->second : settledSetting\(whole, found\);/const int chosen = whole.scores.at(setting) <= c.wholeTarget ? setting : within ? within->second : settledSetting(whole, found);/
e18|engine|engine/levelsearch.cpp|s/if \(found.score > c.wholeTarget && found.trials < shape.maxTrials/if (false \&\& found.trials < shape.maxTrials/
e19|engine|engine/levelsearch.cpp|s/if \(auto settled = halvedOnWhole\(c, halvedTrials, fullTrials, halved, floor, image\)\)/if (std::optional<JpegChoice> settled; false)/
e20|engine|engine/analyse.cpp|s/\(\(gradient > 0\) & \(gradient <= 12\)\)/(gradient <= 12)/
p01|pipeline|pipeline/processor.cpp|s/case 82: case 90:/case 90:/
p02|pipeline|pipeline/processor.cpp|s/std::filesystem::rename\(FsPath\(source\), FsPath\(destination\), error\);/return true;/
p03|pipeline|pipeline/commandline.cpp|s/QStringLiteral\("-resizenozoom"\),/QStringLiteral("-resizenozom"),/
p04|pipeline|pipeline/processor.cpp|s/"  error \(exec\)  : "/"  error (exec) : "/
p05|pipeline|pipeline/runflags.cpp|s/while \(questionShowing.load\(\)\)\n\s*questionClosed.wait\(&waitMutex\);//
p06|pipeline|pipeline/timeleft.cpp|s/if \(pct < 10 &&/if (pct < 9 \&\&/
p07|pipeline|pipeline/filesearch.cpp|s/QStringLiteral\("jpeg"\),/QStringLiteral("jpe"),/
p08|pipeline|pipeline/commandline.cpp|s/OnOff\(option->outformat != QLatin1String\("same"\)\)/OnOff(option->outformat == QLatin1String("same"))/
s01|settings|settings/settingsstore.cpp|s/QStringLiteral\("inputHistory"\)/QStringLiteral("inputHistroy")/
s02|settings|settings/settingsstore.cpp|s/return file.commit\(\);/return true;/
s03|settings|settings/recentfolders.cpp|s/Qt::CaseInsensitive/Qt::CaseSensitive/
s04|settings|settings/pagesettingsrecord.cpp|s/record.tabName = record.tabName.trimmed\(\);//
s05|settings|settings/jsonvalues.cpp|s/std::trunc\(number\) != number/false/
s06|settings|settings/pagesettingsrecord.cpp|s/record.stampOpaque = qBound\(PageLimits::kStampOpaqueMin, record.stampOpaque,\s*PageLimits::kStampOpaqueMax\);//
v01|validation|validation/namerules.cpp|s/i <= 9; \+\+i\)\n(\s*)names << QStringLiteral\("COM/i < 9; ++i)\n$1names << QStringLiteral("COM/
v02|validation|validation/validationtext.cpp|s/"Unusable characters : "/"Unusable character : "/
v03|validation|validation/pathrules.cpp|s/if \(pairs > 1\)/if (pairs > 2)/
v04|validation|validation/folderchecks.cpp|s/text.size\(\) > kMaxFolderPathLength/text.size() >= kMaxFolderPathLength/
a01|app|app/themes.cpp|s/kFallbackLocale = QStringLiteral\("ja_JP"\)/kFallbackLocale = QStringLiteral("ja_JQ")/
a02|app|app/singleinstance.cpp|s/QStringLiteral\("ID:"\)/QStringLiteral("ID")/
w01|widgets|widgets/dk_tabbar.cpp|s/if \(lost > 0\)\n\s*result \+= lost;//
w02|widgets|widgets/dk_textcombox.cpp|s/if \(isDrop\)\n\s*event->accept\(\);/event->accept();/
m01|mainwindow|mainwindow/pagetabs.cpp|s/count\(\) < PageLimits::kMaxPages\)/count() <= PageLimits::kMaxPages)/
m02|mainwindow|mainwindow/pagenamedialog.cpp|s/name.remove\(QLatin1Char\('\\n'\)\);//
m03|mainwindow|mainwindow/pagetabs.cpp|s/( *)(TabTemplate\* copy = CreateTab\()/$1record.stampGroup = false;\n$1$2/
m04|mainwindow|mainwindow/runhistories.cpp|s/i >= 0; --i\)/i > 0; --i)/
m05|mainwindow|mainwindow/pagetabs.cpp|s/const bool on = batch \? TabChecked\(i\) : i == current;/const bool on = i == current;/
m06|mainwindow|mainwindow/pagetabs.cpp|s/setEnabled\(detailsOpen && i == current\)/setEnabled(detailsOpen)/
d01|dialogs|dialogs/resultsummary.cpp|s/while \(divisor <= bytes \/ 1024/while (divisor < bytes \/ 1024/
d02|dialogs|dialogs/resultsummary.cpp|s/100.0 - saved, 'f', 1\)/100.0 - saved, 'f', 2)/
d03|dialogs|dialogs/batchtree.cpp|s/return checkedChildren > 0 \? Qt::Unchecked : Qt::Checked;/return checkedChildren > 0 ? Qt::Checked : Qt::Unchecked;/
d04|dialogs|dialogs/stopquestion.cpp|s/\n    flags.SetQuestionShowing\(false\);\n    return stop;/\n    return stop;/
d05|dialogs|dialogs/batchsettingdialog.cpp|s/static_cast<QKeyEvent\*>\(event\)->key\(\) == Qt::Key_Space/false/
d06|dialogs|dialogs/resultdialog.cpp|s/entry->setData\(folder\);//
r01|app|resources/CMakeLists.txt|s/\n\s*lumenodarkstyle\/lumeno_dark_DKDesktop_Overwrite.qss//
EOF
)

say() { printf '%s\n' "$*"; }

prepare() {
  if [ ! -f "$build/CMakeCache.txt" ]; then
    rm -rf "$tree"
    mkdir -p "$tree"
    git -C "$root" archive "$rev" | tar -x -C "$tree"
    # The tests find the corpus beside the source tree.
    ln -sfn "$(cd "$root/../shared" && pwd)" "$scratch_root/shared"
    # shellcheck disable=SC2086 # extra configure arguments, split on purpose
    cmake -S "$tree" -B "$build" -DCMAKE_BUILD_TYPE=Release ${DRAVIK_MUTANTS_CMAKE_ARGS:-} >"$scratch_root/configure.log" 2>&1 || {
      say "configure failed: $scratch_root/configure.log"; exit 2; }
  fi
  cmake --build "$build" -j"$jobs" >"$scratch_root/build.log" 2>&1 || {
    say "the unmodified tree does not build: $scratch_root/build.log"; exit 2; }
}

# ctest names of a folder's tests, as an anchored regular expression. The engine's unit
# tests are quick, so they go first, apart from its black-box tests.
folder_tests() {
  local folder=$1
  if [ "$folder" = engine ]; then
    echo '^engine'
    return
  fi
  local names
  names=$(cd "$tree/tests/$folder" 2>/dev/null && ls tst_*.cpp 2>/dev/null | sed 's/\.cpp$//' | paste -sd'|')
  [ -n "$names" ] && echo "^($names)\$" || echo '^$'
}

# The programs holding a folder's tests: built first, so a fault caught there costs no
# rebuild of the whole tree.
folder_targets() {
  if [ "$1" = engine ]; then
    echo dravik.bin dravik_engine_unit_tests dravik_engine_tests
  else
    (cd "$tree/tests/$1" 2>/dev/null && ls tst_*.cpp 2>/dev/null | sed 's/\.cpp$//')
  fi
}

# Runs ctest with the given selection; prints the first failing test's name, if any.
first_failure() {
  local out
  out=$(cd "$build" && QT_QPA_PLATFORM=offscreen ctest -j"$jobs" --stop-on-failure --timeout "$test_timeout" "$@" 2>&1)
  printf '%s\n' "$out" | grep -E 'Test +#[0-9]+: ' | grep -vE ' Passed +[0-9.]+ sec' | grep -E '\*\*\*|Failed|Timeout|Exception|Not Run' |
    head -1 | sed -E 's/.*Test +#[0-9]+: ([^ ]+).*/\1/'
}

prepare
caught=0 missed=0 broken=0 total=0 catchers=
while IFS='|' read -r id folder file subst; do
  [ -z "$id" ] && continue
  if [ ${#only[@]} -gt 0 ] && ! printf '%s\n' "${only[@]}" | grep -qx "$id"; then
    continue
  fi
  total=$((total + 1))
  target=$tree/$file
  cp -p "$target" "$target.orig"
  perl -0pi -e "$subst" "$target"
  if cmp -s "$target" "$target.orig"; then
    say "$id $file: the fault does not apply to this tree"
    mv "$target.orig" "$target"
    broken=$((broken + 1))
    continue
  fi
  touch "$target"
  # shellcheck disable=SC2046 # one word per target
  if ! cmake --build "$build" -j"$jobs" --target $(folder_targets "$folder") >"$scratch_root/$id.build.log" 2>&1; then
    say "$id $file: does not build (see $scratch_root/$id.build.log)"
    broken=$((broken + 1))
  else
    regex=$(folder_tests "$folder")
    by=
    if [ "$folder" = engine ]; then
      by=$(first_failure -R '^engineunit[.]')
      [ -z "$by" ] && by=$(first_failure -R '^engine[.]')
    else
      by=$(first_failure -R "$regex")
    fi
    if [ -z "$by" ]; then
      cmake --build "$build" -j"$jobs" >>"$scratch_root/$id.build.log" 2>&1
      by=$(first_failure -E "$regex")
    fi
    if [ -n "$by" ]; then
      say "$id $file: caught by $by"
      caught=$((caught + 1))
      catchers="$catchers $by"
    else
      say "$id $file: MISSED"
      missed=$((missed + 1))
    fi
  fi
  mv "$target.orig" "$target"
  touch "$target"
done <<<"$faults"

# Leave the scratch build matching the unmodified tree for the next run, and check that
# every test that caught a fault passes on it: one that fails anyway proves nothing.
cmake --build "$build" -j"$jobs" >"$scratch_root/build.log" 2>&1
for t in $(printf '%s\n' $catchers | sort -u); do
  if ! (cd "$build" && QT_QPA_PLATFORM=offscreen ctest --timeout "$test_timeout" -R "^${t//./[.]}\$" >/dev/null 2>&1); then
    say "warning: $t fails on the unmodified tree too; its catches do not count"
  fi
done
say "faults: $total  caught: $caught  missed: $missed  not applicable or not building: $broken"
