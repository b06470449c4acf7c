'use strict';

// Compares the conversions that a program prints with those of the packages.
//   node compare.js PROGRAM            fails on a difference that is not expected, and on an expected one that is gone
//   node compare.js PROGRAM --list     prints the differences as they are, to bring the data file up to date

process.env.TZ = 'UTC'; // the packages take dates in local time

const { execFileSync } = require('node:child_process');
const path = require('node:path');
const { compare, complain, describe } = require('./differences');

const [program, mode] = process.argv.slice(2);
const conversions = JSON.parse(execFileSync(program, [path.join(__dirname, 'codes.json')], { encoding: 'utf8' }));
const result = compare(conversions, openPackages());

function openPackages() {
    try {
        return require('./packages');
    } catch (error) {
        if (error.code !== 'MODULE_NOT_FOUND') {
            throw error;
        }
        console.error(`The packages are missing, "scripts/setup tests" installs them: ${error.message}`);
        return process.exit(1);
    }
}

if (mode === '--list') {
    console.log(JSON.stringify(result, null, 1));
    process.exit(0);
}
result.differences.forEach((difference) => console.log(describe(difference)));
const complaints = complain(result, require('./expected.json'));
complaints.forEach((complaint) => console.error(complaint));
console.log(`${result.compared} conversions compared, ${result.differences.length} differ, ` +
    `${complaints.length} not as expected`);
process.exit(complaints.length === 0 ? 0 : 1);
