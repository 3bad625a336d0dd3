#!/usr/bin/env bash
# Draws the pictures of the panel in Documentation, over a small tree of made-up files.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh

ensure_packages "${build_packages[@]}" "${desktop_packages[@]}" pngquant
build release dovra dovra_desktop >&2
program=$PWD/build/release/dovra
pictures=$PWD/Documentation
folder=$(mktemp -d)
trap 'rm -rf -- "$folder"' EXIT
# The panel shows it as "~".
export HOME=$folder/home

# make_file PATH SIZE AGE: an empty file that looks large.
make_file() {
    mkdir -p "$HOME/${1%/*}"
    truncate -s "$2" "$HOME/$1"
    touch -d "$3 ago" "$HOME/$1"
}

while IFS='|' read -r path size age; do
    make_file "$path" "$size" "$age"
done <<'FILES'
Archive/2023/Invoice-2023-118.pdf|151K|14 months
Archive/2023/Invoice-2023-119.pdf|149K|13 months
Documents/Invoices/Invoice-2024-029.pdf|168K|6 weeks
Documents/Invoices/Invoice-2024-030.pdf|176K|9 days
Documents/Invoices/Invoice-2024-031.pdf|182K|3 hours
Documents/Invoices/invoice-template.odt|42K|7 months
Documents/Quarterly report.md|11K|2 days
Downloads/invoice_scan.png|3M|1 day
Music/The Invoices - Overdue.flac|31M|2 years
Pictures/Receipts/invoice-hotel.jpg|2M|3 weeks
Projects/ledger/invoices.sql|88K|5 hours
Projects/ledger/src/invoice_parser.py|12K|40 minutes
Projects/ledger/tests/invoice-samples.zip|640K|4 months
Videos/invoice-walkthrough.mp4|88M|2 months
FILES

cat >"$HOME/Documents/Quarterly report.md" <<'TEXT'
# Quarterly report

Sales rose by 12 % against the same quarter of last
year, mostly in the north. Three of the five new
shops opened on time; two wait for their permits.

| region | last year | this year |
|--------|----------:|----------:|
| north  |     1 240 |     1 611 |
| south  |       980 |     1 004 |
| west   |       455 |       462 |

## Next

- hire for the shop at the harbour
- agree on prices with both suppliers
- close the books of the old storehouse
TEXT
touch -d '2 days ago' "$HOME/Documents/Quarterly report.md"

# draw NAME APPEARANCE OPTION...
draw() {
    local file=$pictures/$1.png appearance=$2
    shift 2
    DOVRA_APPEARANCE=$appearance "$program" --snapshot --scale 1.5 "$@" "$file"
    pngquant --force --skip-if-larger --strip --output "$file" 256 -- "$file"
}

draw PanelLight light --in "$HOME" --query invoice
draw PanelDark dark --in "$HOME" --query invoice
draw PanelEmpty light --in "$HOME"
draw PanelFuzzy dark --in "$HOME" --size 760x320 --query invpdf
draw PanelNothing dark --in "$HOME" --size 760x320 --query '*.invoice'
draw PanelPreview light --in "$HOME" --preview --query report
# A tree that takes a moment.
draw PanelIndexing light --early --in /usr --size 760x320 --query 'read'
