'use strict';

// How the packages' values read as the texts of this system, and the other way round.
//
// read(theirs, ours): the text of a value that a package decoded. `ours` is the text that it is compared with.
// write(text): what a package is given to encode the value of a text; undefined where it has no such value.
// reduce(ours): the part of a text that a package can tell at all; all of it where there is none.

const weekdays = ['Sun', 'Mon', 'Tue', 'Wed', 'Thu', 'Fri', 'Sat'];

const two = (number) => String(number).padStart(2, '0');
const hex = (number) => two(Number(number).toString(16).toUpperCase());
const dateText = (date) =>
    `${String(date.getFullYear()).padStart(4, '0')}-${two(date.getMonth() + 1)}-${two(date.getDate())}`;
const timeText = (date) => `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}`;
const withoutPadding = (text) => text.replace(/\0+$/, '');

function numberText(number) {
    return Object.is(number, -0) ? '-0' : String(number);
}

const number = {
    read: numberText,
    write: Number,
    reduce: (ours) => numberText(Number(ours)),
};

const single = {
    read: numberText,
    write: (text) => Number(single.reduce(text)),
    reduce: (ours) => numberText(Math.fround(ours === 'nan' ? NaN : Number(ours.replace('inf', 'Infinity')))),
};

const bigNumber = { read: String, write: BigInt };

const boolean = { read: (theirs) => (theirs ? '1' : '0'), write: (text) => text === '1' };

const character = { read: withoutPadding, write: (text) => text || '\0' };
const characters = { read: withoutPadding, write: (text) => text };

/** A word in front of a number. */
const flagged = (word, flag, value, base) => ({
    read: (theirs) => (Number(theirs[flag]) ? `${word} ` : '') + (Number(theirs[value]) - base),
    write: (text) => ({
        [flag]: text.startsWith(word) ? 1 : 0,
        [value]: Number(text.split(' ').pop()) + base,
    }),
});

const step = {
    read: (theirs) => `${theirs.decr_incr ? 'increase' : 'decrease'} ${theirs.data}`,
    write: (text) => ({ decr_incr: text.startsWith('increase') ? 1 : 0, data: Number(text.split(' ')[1]) }),
};

/** A date always has a weekday: without one it cannot be written, and what was read is compared without it. */
const time = {
    read: (theirs, ours) =>
        (/^[A-Z]/.test(ours || '') ? `${weekdays[theirs.getDay()]} ` : '') + timeText(theirs),
    write: (text) => {
        const [day, clock] = text.split(' ');
        if (!clock) {
            return undefined;
        }
        const sunday = '2026-11-22';
        const date = new Date(`${sunday}T${clock}Z`);
        date.setDate(date.getDate() + weekdays.indexOf(day));
        return date;
    },
};

const date = { read: dateText, write: (text) => new Date(`${text}T00:00:00Z`) };

/** A date has no flags: only the values without any are written, and what was read is compared without them. */
const pointInTime = {
    read: (theirs) => `${dateText(theirs)} ${timeText(theirs)}`,
    write: (text) => {
        const [day, clock, weekday, ...flags] = text.split(' ');
        const value = new Date(`${day}T${clock}Z`);
        const isPlain = flags.join() === 'holiday' && weekdays[value.getDay()] === weekday;
        return isPlain ? value : undefined;
    },
    reduce: (ours) => ours.split(' ').slice(0, 2).join(' '),
};

/** A set of bits as an object with a name for each, the lowest one first. */
const bits = (names) => ({
    read: (theirs) =>
        String(names.reduce((sum, name, bit) => sum + (Number(theirs[name]) ? 2 ** bit : 0), 0)),
    write: (text) => Object.fromEntries(names.map((name, bit) => [name, Boolean((Number(text) >> bit) & 1)])),
});

const rgb = {
    read: (theirs) => `#${hex(theirs.red)}${hex(theirs.green)}${hex(theirs.blue)}`,
    write: (text) => {
        const [red, green, blue] = text.match(/[0-9A-F]{2}/g).map((digits) => parseInt(digits, 16));
        return { red, green, blue };
    },
};

const rgbw = {
    read: (theirs) =>
        `#${[['red', 'mR'], ['green', 'mG'], ['blue', 'mB'], ['white', 'mW']]
            .map(([component, mask]) => (theirs[mask] ? hex(theirs[component]) : '--'))
            .join('')}`,
    write: (text) => {
        const parts = text.slice(1).match(/../g);
        const [red, green, blue, white] = parts.map((part) => (part === '--' ? 0 : parseInt(part, 16)));
        const [mR, mG, mB, mW] = parts.map((part) => (part === '--' ? 0 : 1));
        return { red, green, blue, white, mR, mG, mB, mW };
    },
};

function fields(text) {
    return Object.fromEntries(text.split(' ').filter(Boolean).map((field) => field.split('=')));
}

const tariff = {
    read: (theirs) =>
        [
            theirs.validityEnergy ? `energy=${theirs.activeElectricalEnergy}` : '',
            theirs.validityTariff ? `tariff=${theirs.tariff}` : '',
        ].filter(Boolean).join(' '),
    write: (text) => {
        const { energy, tariff: number } = fields(text);
        return {
            activeElectricalEnergy: Number(energy || 0),
            tariff: Number(number || 0),
            validityEnergy: energy !== undefined,
            validityTariff: number !== undefined,
        };
    },
};

/** The packages have the codes themselves, so ours are compared as such. */
const colour = {
    read: (theirs) =>
        [
            theirs.isColorValid ? `x=${theirs.x} y=${theirs.y}` : '',
            theirs.isBrightnessValid ? `Y=${theirs.brightness}` : '',
        ].filter(Boolean).join(' '),
    write: (text) => {
        const { x, y, Y } = fields(colour.reduce(text));
        return {
            x: Number(x || 0),
            y: Number(y || 0),
            brightness: Number(Y || 0),
            isColorValid: x !== undefined,
            isBrightnessValid: Y !== undefined,
        };
    },
    reduce: (ours) => {
        const codes = { x: (part) => part * 65535, y: (part) => part * 65535, Y: (percent) => (percent * 255) / 100 };
        return Object.entries(fields(ours))
            .map(([name, value]) => `${name}=${Math.round(codes[name](Number(value)))}`)
            .join(' ');
    },
};

const common = {
    1: boolean,
    2: flagged('control', 'priority', 'data', 0),
    3: step,
    4: character,
    5: number,
    6: number,
    7: number,
    8: number,
    9: number,
    10: time,
    11: date,
    12: number,
    13: number,
    14: single,
    16: characters,
    17: number,
    18: flagged('learn', 'save_recall', 'scenenumber', 1),
    19: pointInTime,
    20: number,
    28: characters,
    29: bigNumber,
    232: rgb,
    235: tariff,
    242: colour,
    251: rgbw,
};

module.exports = {
    knx: { ...common, 21: bits(['outofservice', 'fault', 'overridden', 'inalarm', 'alarmunack']) },
    knxultimate: {
        ...common,
        21: bits(['outOfService', 'fault', 'overridden', 'inAlarm', 'alarmUnAck']),
        22: bits([
            'Fault', 'StatusEcoH', 'TempFlowLimit', 'TempReturnLimit', 'StatusMorningBoostH', 'StatusStartOptim',
            'StatusStopOptim', 'HeatingDisabled', 'HeatCoolMode', 'StatusEcoC', 'StatusPreCool', 'CoolingDisabled',
            'DewPointStatus', 'FrostAlarm', 'OverheatAlarm', 'reserved',
        ]),
    },
};
