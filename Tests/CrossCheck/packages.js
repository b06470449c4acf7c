'use strict';

// The packages log each code that they do not like. That is not of interest here.
process.env.LOG_MODULES = 'none';
require('log-driver')({ level: false });

const adapters = require('./adapters');

// The packages make times of day into times of the current day, and some codes into the current time. It stands still.
const now = Date.UTC(2026, 10, 22);
global.Date = class Date extends global.Date {
    constructor(...parts) {
        super(...(parts.length === 0 ? [now] : parts));
    }
};

/**
 * The data-point types of a package behind one interface:
 * find(dpt): null where the package does not know the type, otherwise
 * - decode(code, ours): the text of a code in hexadecimal digits, null where it has no value,
 * - encode(text): the code of a text; null where the package has none, undefined where it cannot be told the value,
 * - reduce(ours): the part of a text that the package can tell.
 */
function open(name, library) {
    return {
        name,
        find(dpt) {
            const adapter = adapters[name][dpt.split('.')[0]];
            const type = adapter && ignoringErrors(() => library.resolve(dpt));
            return type ? bind(library, dpt, type, adapter) : null;
        },
    };
}

function bind(library, dpt, type, adapter) {
    return {
        decode(code, ours) {
            const theirs = ignoringErrors(() => library.fromBuffer(Buffer.from(code, 'hex'), type));
            return theirs === null ? null : adapter.read(theirs, ours);
        },
        encode(text) {
            const value = adapter.write(text);
            if (value === undefined) {
                return undefined;
            }
            const apdu = {};
            const data = ignoringErrors(() => {
                library.populateAPDU(value, apdu, dpt);
                return apdu.data;
            });
            return data === null ? null : data.toString('hex').toUpperCase();
        },
        reduce: (ours) => (adapter.reduce ? adapter.reduce(ours) : ours),
    };
}

/** The packages say "no value" by throwing, by null and by undefined. */
function ignoringErrors(action) {
    try {
        return action() ?? null;
    } catch {
        return null;
    }
}

module.exports = [
    open('knx', require('knx/src/dptlib')),
    open('knxultimate', require('knxultimate').dptlib),
];
