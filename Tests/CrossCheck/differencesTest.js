'use strict';

const assert = require('node:assert');
const test = require('node:test');
const { compare, complain } = require('./differences');

const conversions = [
    { dpt: '5.001', code: '80', value: '50.2', encoded: '80' },
    { dpt: '5.001', code: '81', value: null, encoded: null },
    { dpt: '15.000', code: '00000000', value: 'x', encoded: '00000000' },
];

/** A package that knows one type. */
function packageOf({ decode, encode }) {
    const type = { decode, encode, reduce: (ours) => ours };
    return { name: 'other', find: (dpt) => (dpt === '5.001' ? type : null) };
}

const agreeing = packageOf({ decode: (code) => (code === '80' ? '50.2' : null), encode: () => '80' });
const rounding = packageOf({ decode: (code) => (code === '80' ? '50' : null), encode: () => '7F' });

const unknown = { other: ['15.000'] };
const rounded = [
    { package: 'other', dpt: '5.001', way: 'decode', reason: 'rounds', codes: { 80: ['50.2', '50'] } },
    { package: 'other', dpt: '5.001', way: 'encode', reason: 'rounds', codes: { 80: ['80', '7F'] } },
];

test('agreement is no difference', () => {
    const result = compare(conversions, [agreeing]);
    assert.strictEqual(result.compared, 3);
    assert.deepStrictEqual(complain(result, { differences: [], unknown }), []);
});

test('an expected difference is accepted', () => {
    assert.deepStrictEqual(complain(compare(conversions, [rounding]), { differences: rounded, unknown }), []);
});

test('an unexpected difference is named', () => {
    assert.deepStrictEqual(complain(compare(conversions, [rounding]), { differences: rounded.slice(1), unknown }), [
        'unexpected: other 5.001 decode 80: ours "50.2", theirs "50"',
    ]);
});

test('an expected difference that is gone is named', () => {
    assert.deepStrictEqual(complain(compare(conversions, [agreeing]), { differences: rounded.slice(0, 1), unknown }), [
        'no longer there: other 5.001 decode 80: ours "50.2", theirs "50"',
    ]);
});

test('a difference that is another one than expected is named twice', () => {
    const other = [{ ...rounded[0], codes: { 80: ['50.2', '49'] } }, rounded[1]];
    assert.strictEqual(complain(compare(conversions, [rounding]), { differences: other, unknown }).length, 2);
});

test('a value where we have none is a difference', () => {
    const generous = packageOf({ decode: () => '50.2', encode: () => '80' });
    assert.deepStrictEqual(complain(compare(conversions, [generous]), { differences: [], unknown }), [
        'unexpected: other 5.001 decode 81: ours null, theirs "50.2"',
    ]);
});

test('a type that is no longer unknown is named', () => {
    assert.strictEqual(complain(compare(conversions, [agreeing]), { differences: [], unknown: { other: [] } }).length, 1);
});

test('an expected difference without a reason is refused', () => {
    const bare = [{ ...rounded[0], reason: '' }];
    assert.throws(() => complain(compare(conversions, [rounding]), { differences: bare, unknown }), /needs a reason/);
});
