// Dumps the tables of an Access file as JSON through mdb-reader, the outside reader of the tests.
//   node dump_mdb.mjs <file.mdb> <out.json> [--system | --linked]
// Output: {"tables": [{"name", "rowCount" (the table definition's count), "columns":
// [{"name", "type", "size", "autoLong", "precision", "scale"}], "rows": [[value, ...], ...]}]}
// Values keep every bit: Single and Double as String(v) (the shortest text that reads back to
// the same number), DateTime as the milliseconds of mdb-reader's Date, Binary and OLE as
// upper-case hex, Currency, Numeric and GUID as mdb-reader's text, Boolean as true/false.
// A table mdb-reader cannot read gets "error" instead of "rows". With --linked the output is
// {"linked": [names of the linked tables]} only.

import { closeSync, openSync, readFileSync, writeSync } from "node:fs";
import MDBReader from "mdb-reader";

const [file, out, flag] = process.argv.slice(2);
if (!file || !out) {
    console.error("usage: node dump_mdb.mjs <file.mdb> <out.json> [--system | --linked]");
    process.exit(2);
}

function encode(value, type) {
    if (value === null || value === undefined) return null;
    switch (type) {
        case "float":
        case "double":
            return Object.is(value, -0) ? "-0" : String(value);
        case "datetime":
            return Number.isNaN(value.getTime()) ? "NaN" : value.getTime();
        case "binary":
        case "ole":
            return value.toString("hex").toUpperCase();
        case "bigint":
            return value.toString();
        default:
            return value;
    }
}

const reader = new MDBReader(readFileSync(file));
if (flag === "--linked") {
    const linked = reader.getTableNames({ normalTables: false, systemTables: false, linkedTables: true });
    const fd = openSync(out, "w");
    writeSync(fd, JSON.stringify({ linked }) + "\n");
    closeSync(fd);
    process.exit(0);
}
const names = reader.getTableNames({ normalTables: true, systemTables: flag === "--system" });
const fd = openSync(out, "w");
writeSync(fd, '{"tables":[');
names.forEach((name, t) => {
    const table = reader.getTable(name);
    let text;
    try {
        const columns = table.getColumns();
        const head = JSON.stringify({
            name,
            rowCount: table.rowCount,
            columns: columns.map((c) => ({
                name: c.name,
                type: c.type,
                size: c.size,
                autoLong: c.autoLong,
                precision: c.precision ?? null,
                scale: c.scale ?? null,
            })),
        });
        const rows = table
            .getData()
            .map((row) => JSON.stringify(columns.map((c) => encode(row[c.name], c.type))));
        text = head.slice(0, -1) + ',"rows":[' + rows.join(",\n") + "]}";
    } catch (e) {
        text = JSON.stringify({ name, rowCount: table.rowCount, error: String(e) });
    }
    writeSync(fd, (t ? ",\n" : "") + text);
});
writeSync(fd, "]}\n");
closeSync(fd);
