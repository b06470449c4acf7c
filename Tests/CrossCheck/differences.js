'use strict';

/** One line for a difference: "knx 9.001 decode 7FFF: ours null, theirs \"670760.96\"". */
function describe({ package: name, dpt, way, code, ours, theirs }) {
    return `${name} ${dpt} ${way} ${code}: ours ${JSON.stringify(ours)}, theirs ${JSON.stringify(theirs)}`;
}

/**
 * All differences between our conversions, a list of {dpt, code, value, encoded}, and those of the packages; the types that
 * a package does not know; and how many conversions were compared.
 */
function compare(conversions, packages) {
    const result = { differences: [], unknown: {}, compared: 0 };
    for (const library of packages) {
        const unknown = new Set();
        for (const { dpt, code, value, encoded } of conversions) {
            const type = library.find(dpt);
            if (!type) {
                unknown.add(dpt);
                continue;
            }
            const check = (way, ours, theirs) => {
                ++result.compared;
                if (ours !== theirs) {
                    result.differences.push({ package: library.name, dpt, way, code, ours, theirs });
                }
            };
            check('decode', value === null ? null : type.reduce(value), type.decode(code, value));
            const theirs = value === null ? undefined : type.encode(value);
            if (theirs !== undefined) {
                check('encode', encoded, theirs);
            }
        }
        result.unknown[library.name] = [...unknown];
    }
    return result;
}

/** The expected differences of the data file as a list like that of `compare`. */
function expand(groups) {
    return groups.flatMap(({ package: name, dpt, way, reason, codes }) => {
        if (!reason) {
            throw new Error(`${name} ${dpt} ${way}: an expected difference needs a reason`);
        }
        return Object.entries(codes).map(([code, [ours, theirs]]) => ({ package: name, dpt, way, code, ours, theirs }));
    });
}

/** What is wrong with a comparison, one line each: nothing where it is as expected. */
function complain(result, expected) {
    const found = new Set(result.differences.map(describe));
    const known = new Set(expand(expected.differences).map(describe));
    const complaints = [];
    for (const line of found) {
        if (!known.has(line)) {
            complaints.push(`unexpected: ${line}`);
        }
    }
    for (const line of known) {
        if (!found.has(line)) {
            complaints.push(`no longer there: ${line}`);
        }
    }
    for (const [name, types] of Object.entries(result.unknown)) {
        const wanted = (expected.unknown[name] || []).join(', ');
        if (types.join(', ') !== wanted) {
            complaints.push(`types that ${name} does not know: ${types.join(', ')}; expected ${wanted}`);
        }
    }
    return complaints;
}

module.exports = { compare, complain, describe };
