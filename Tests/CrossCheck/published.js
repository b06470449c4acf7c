'use strict';

// Compares the conversions that a program prints with values and codes that others have published.
//   node published.js PROGRAM

const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { codes } = require('./published.json');

const types = Object.fromEntries(Object.entries(codes).map(([dpt, values]) => [dpt, Object.keys(values)]));
const conversions = convert(process.argv[2]);

function convert(program) {
    const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'orn-published-'));
    try {
        const file = path.join(folder, 'codes.json');
        fs.writeFileSync(file, JSON.stringify(types));
        return JSON.parse(execFileSync(program, [file], { encoding: 'utf8' }));
    } finally {
        fs.rmSync(folder, { recursive: true });
    }
}

const wrong = conversions.filter(({ dpt, code, value, encoded }) => {
    const published = codes[dpt][code];
    return value !== published || encoded !== (published === null ? null : code);
});
wrong.forEach((conversion) =>
    console.error(`${JSON.stringify(conversion)}: published is ${codes[conversion.dpt][conversion.code]}`));
const expected = Object.values(types).flat().length;
console.log(`${conversions.length} of ${expected} published codes converted, ${wrong.length} wrong`);
process.exit(conversions.length === expected && wrong.length === 0 ? 0 : 1);
