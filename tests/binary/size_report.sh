#!/bin/bash
# size_report.sh SIZE_TOOL LIBRARY MAP: what a driver library is made of, by section and,
# from the linker's map, by object file. Bytes in the file, so without what starts as zeros.
set -euo pipefail
export LC_ALL=C
size=$1 library=$2 map=$3

echo "sections of $(basename "$library"):"
"$size" -A "$library" | awk '
    $1 ~ /^\./ && $3 > 0 && $1 != ".bss" { printf "  %7d  %s\n", $2, $1; total += $2 }
    END { printf "  %7d  together\n", total }'

echo "by source:"
awk '
    function hex(text, i, value) {
        value = 0
        for (i = 3; i <= length(text); i++) value = value * 16 + index("0123456789abcdef", substr(text, i, 1)) - 1
        return value
    }
    /^Linker script and memory map/ { inside = 1 }
    !inside || /^ *\*/ { next }
    # A long section name has the rest of its entry on the next line.
    NF == 1 && $1 ~ /^\./ { held = $1; next }
    $1 ~ /^0x/ && held != "" && NF >= 3 { $0 = held " " $0 }
    { held = "" }
    NF >= 4 && $1 ~ /^\./ && $2 ~ /^0x/ && $3 ~ /^0x/ && $2 !~ /^0x0+$/ {
        if ($1 ~ /^\.(bss|debug|comment|symtab|strtab|shstrtab|note|ARM.attributes)/) next
        object = $4
        # What the linker makes stands in the map beside the first file.
        if ($1 ~ /^\.(dyn|gnu|hash|rel|plt|got|iplt|igot|eh_frame_hdr)/ && $1 !~ /^\.rel\.ro/) object = "tables of the linker"
        sub(/.*\//, "", object)
        sub(/\.o\)?$/, "", object)
        sub(/.*\(/, "", object)
        sum[object] += hex($3)
    }
    END { for (object in sum) if (sum[object] > 0) printf "  %7d  %s\n", sum[object], object }
' "$map" | sort -rn
