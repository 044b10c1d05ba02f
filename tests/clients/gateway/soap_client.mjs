// Drives all eight services through a gateway with the npm package "soap", from the gateway's own description. Prints a
// line per check. Node.js looks for the package beside this file, so run it with run_soap_client, which installs it.
import assert from 'node:assert';
import soap from 'soap';

const url = process.env.KX_GATEWAY_URL;

// The package makes numbers, booleans and dates of the members of arrays, and cuts those of 64 bits: they stay texts.
const asText = (text) => text;
const customDeserializer = Object.fromEntries(
  ['boolean', 'short', 'int', 'long', 'dateTime'].map((type) => [type, asText]));

let failures = 0;

function check(name, action) {
  try {
    action();
    console.log(`ok      ${name}`);
  } catch (error) {
    failures += 1;
    console.log(`FAILED  ${name}: ${error.message}`);
  }
}

function equal(name, got, expected) {
  check(name, () => assert.deepStrictEqual(got, expected));
}

// The package gives every value as a text, and the type's name beside it.
function toValue(value) {
  if (value === undefined || value === null) {
    return undefined;
  }
  const type = value.attributes['xsi:type'];
  const members = Object.keys(value).find((name) => name !== 'attributes' && name !== '$value');
  const content = members === undefined ? value.$value : value[members];
  const toNumber = (text) => (/double|float/i.test(type) ? String(Number(text)) : text);
  return [type, Array.isArray(content) ? content.map(toNumber) : toNumber(content)];
}

// The package sends the names of types as they are, and declares no prefix for XML Schema.
function toRequest([type, content]) {
  const attributes = { 'xsi:type': type };
  return Array.isArray(content)
    ? { attributes, [type[9].toLowerCase() + type.slice(10)]: content }
    : { attributes, $value: content };
}

function getCode(entry) {
  return (entry.attributes?.ResultID ?? '').replace('da:', '');
}

async function call(client, service, request) {
  const [reply] = await client[`${service}Async`](request);
  return reply;
}

async function fails(name, reply, code) {
  try {
    const got = await reply;
    check(name, () => assert.fail(`no fault, got ${JSON.stringify(got)}`));
  } catch (error) {
    const fault = error.root?.Envelope?.Body?.Fault;
    equal(name, [error.response?.status, fault?.faultcode], [500, `da:${code}`]);
    check(`${name}, with a text`, () => assert(fault?.faultstring));
  }
}

async function checkStatus(client) {
  const reply = await call(client, 'GetStatus', { attributes: { ClientRequestHandle: 'status-1' } });
  equal('GetStatus returns the handle', reply.GetStatusResult.attributes.ClientRequestHandle, 'status-1');
  equal('the server is running', reply.GetStatusResult.attributes.ServerState, 'running');
  equal('GetStatus tells the interface', reply.Status.SupportedInterfaceVersions, ['XML_DA_Version_1_0']);
}

async function checkBrowse(client) {
  const reply = await call(client, 'Browse', {});
  equal('Browse lists the root', reply.Elements.map((element) => element.attributes.ItemName),
    ['/values', '/readings']);
  equal('a branch is no item', reply.Elements.map((element) => element.attributes.IsItem), ['false', 'false']);
  const readings = await call(client, 'Browse', {
    attributes: { ItemName: '/readings', ReturnPropertyValues: true },
    PropertyNames: ['quality', 'engineeringUnits'],
  });
  const [quality, unit] = readings.Elements[1].Properties;
  equal('Browse gives the quality', quality.Value.attributes.QualityField, 'badSensorFailure');
  equal('Browse gives the unit', toValue(unit.Value), ['xsd:string', 'degC']);
  await fails('Browse of an unknown item is a fault', call(client, 'Browse', { attributes: { ItemName: '/none' } }),
    'E_UNKNOWNITEMNAME');
}

async function checkProperties(client) {
  const reply = await call(client, 'GetProperties', {
    attributes: { ReturnPropertyValues: true, ReturnErrorText: true },
    ItemIDs: [{ attributes: { ItemName: '/values/int' } }, { attributes: { ItemName: '/values/none' } }],
    PropertyNames: ['dataType'],
  });
  equal('GetProperties answers for each item', reply.PropertyLists.map(getCode), ['', 'E_UNKNOWNITEMNAME']);
  equal('GetProperties gives the type', toValue(reply.PropertyLists[0].Properties[0].Value), ['xsd:QName', 'xsd:int']);
  check('GetProperties gives texts of errors', () => assert(reply.Errors[0].Text));
}

function read(client, names) {
  return call(client, 'Read', {
    Options: { attributes: { ReturnItemTime: true } },
    ItemList: { Items: names.map((name) => ({ attributes: { ItemName: name, ClientItemHandle: name } })) },
  });
}

async function readValue(client, name) {
  return toValue((await read(client, [name])).RItemList.Items[0].Value);
}

async function write(client, items) {
  const reply = await call(client, 'Write', {
    attributes: { ReturnValuesOnReply: true },
    ItemList: { Items: items.map(([name, value]) => ({ attributes: { ItemName: name }, Value: toRequest(value) })) },
  });
  return reply.RItemList.Items;
}

async function checkRead(client) {
  const names = ['/readings/good', '/readings/failed', '/readings/none'];
  const reply = await read(client, names);
  const items = reply.RItemList.Items;
  equal('Read answers in order', items.map((item) => item.attributes.ClientItemHandle), names);
  equal('Read gives a value', toValue(items[0].Value), ['xsd:double', '21.5']);
  check('Read gives the time', () => assert.match(items[0].attributes.Timestamp, /^20\d\d-.*Z$/));
  equal('a good value is good', items[0].Quality?.attributes.QualityField ?? 'good', 'good');
  equal('a failed sensor is bad', items[1].Quality.attributes.QualityField, 'badSensorFailure');
  equal('a missing item has a code', getCode(items[2]), 'E_UNKNOWNITEMNAME');
  equal('a missing item has no value', items[2].Value, undefined);
  equal('the code has a text', reply.Errors.map((error) => [error.attributes.ID, Boolean(error.Text)]),
    [['da:E_UNKNOWNITEMNAME', true]]);
}

// Type, what the host begins with, and what is written.
const values = [
  ['boolean', 'true', 'false'], ['byte', '-128', '7'], ['short', '-32768', '7'], ['int', '-2147483648', '7'],
  ['long', '-9007199254740993', '9223372036854775807'], ['unsignedByte', '255', '200'], ['unsignedShort', '65535', '7'],
  ['unsignedInt', '4294967295', '7'], ['unsignedLong', '18446744073709551615', '9007199254740993'],
  ['float', '0.5', '-2.25'], ['double', '0.125', '2.5'], ['string', 'a < b & c', 'ü < ä'],
  ['dateTime', '2026-09-14T06:30:00Z', '2027-01-02T03:04:05.250Z'], ['duration', 'P1DT12H', 'PT30M'],
];
const arrays = [
  ['boolean', ['true', 'false'], ['false', 'true', 'true']], ['byte', ['-128', '127'], ['-1', '1']],
  ['short', ['-32768', '32767'], ['7']], ['int', ['1', '-1'], ['7', '8', '9']],
  ['long', ['9007199254740993', '-1'], ['-9223372036854775808']], ['unsignedShort', ['0', '65535'], ['7']],
  ['unsignedInt', ['0', '4294967295'], ['7']], ['unsignedLong', ['0', '18446744073709551615'], ['9007199254740993']],
  ['float', ['0.5', '-0.25'], ['1.5']], ['double', ['0.125', '-1000000'], ['1.5', '2.5']],
  ['string', ['a', '', 'ü'], ['x & y', '']],
  ['dateTime', ['2026-09-14T00:00:00.250Z'], ['2027-01-02T03:04:05Z']],
];

async function checkValue(client, name, type, first, next) {
  // The package gives a list with one member as the member.
  const toList = ([got, content]) => [got, Array.isArray(next) ? [content].flat() : content];
  equal(`${name} is read`, toList(await readValue(client, name)), [type, first]);
  const [written] = await write(client, [[name, [type.replace('da:', ''), next]]]);
  equal(`${name} is written`, getCode(written), '');
  equal(`${name} is answered`, toList(toValue(written.Value)), [type, next]);
  equal(`${name} is read back`, toList(await readValue(client, name)), [type, next]);
}

async function checkValues(client) {
  for (const [type, first, next] of values) {
    await checkValue(client, `/values/${type}`, `xsd:${type}`, first, next);
  }
  for (const [type, first, next] of arrays) {
    await checkValue(client, `/values/${type}s`, `da:ArrayOf${type[0].toUpperCase()}${type.slice(1)}`, first, next);
  }
  for (const truth of [true, 1, 'true']) {
    const [written] = await write(client, [['/values/boolean', ['xsd:boolean', truth]]]);
    equal(`Write takes ${JSON.stringify(truth)}`, toValue(written.Value), ['xsd:boolean', 'true']);
  }
  const [bytes] = await write(client, [['/values/unsignedBytes', ['xsd:base64Binary', 'Acg=']]]);
  equal('unsigned bytes in arrays come as signed ones', toValue(bytes.Value), ['da:ArrayOfByte', ['1', '-56']]);
  const [durations] = await write(client, [['/values/durations', ['ArrayOfString', ['PT30M', 'PT1H']]]]);
  equal('Write takes durations as texts', getCode(durations), '');
}

async function checkRefusals(client) {
  const items = await write(client, [['/readings/good', ['xsd:double', 1]], ['/values/none', ['xsd:double', 1]],
    ['/values/int', ['xsd:string', 'many']], ['/values/short', ['xsd:int', 70000]],
    ['/values/double', ['xsd:double', 3.5]]]);
  equal('Write answers for each item', items.map(getCode),
    ['E_READONLY', 'E_UNKNOWNITEMNAME', 'E_BADTYPE', 'E_RANGE', '']);
  equal('one item does not spoil the others', toValue(items[4].Value), ['xsd:double', '3.5']);
}

function poll(client, handles, attributes) {
  return call(client, 'SubscriptionPolledRefresh', { attributes, ServerSubHandles: handles });
}

async function checkSubscription(client) {
  const reply = await call(client, 'Subscribe', {
    attributes: { ReturnValuesOnReply: true, SubscriptionPingRate: 60000 },
    ItemList: {
      Items: ['/values/int', '/values/none', '/readings/failed'].map((name) => ({ attributes: { ItemName: name } })),
    },
  });
  const handle = reply.attributes.ServerSubHandle;
  const items = reply.RItemList.Items.map((each) => each.ItemValue);
  equal('Subscribe gives the values', items.map((item) => toValue(item.Value)),
    [['xsd:int', '7'], undefined, ['xsd:double', '850']]);
  equal('Subscribe gives codes', items.map(getCode), ['', 'E_UNKNOWNITEMNAME', '']);
  equal('Subscribe gives the quality', items[2].Quality.attributes.QualityField, 'badSensorFailure');

  const waiting = poll(client, [handle, 'unknown'], { WaitTime: 60000 });
  await write(client, [['/values/int', ['xsd:int', 8]]]);
  const changed = await waiting;
  equal('a poll with a wait time gives the change',
    changed.RItemList[0].Items.map((item) => toValue(item.Value)), [['xsd:int', '8']]);
  equal('it names the subscription', changed.RItemList[0].attributes.SubscriptionHandle, handle);
  equal('it names the handle that is none', changed.InvalidServerSubHandles, ['unknown']);

  const holdTime = Date.now() + 1000;
  await write(client, [['/values/int', ['xsd:int', 9]]]);
  const held = await poll(client, [handle], { HoldTime: new Date(holdTime).toISOString() });
  check('a poll with a hold time is held', () => assert(Date.now() >= holdTime));
  equal('it gives the change', toValue(held.RItemList[0].Items[0].Value), ['xsd:int', '9']);

  const cancel = { attributes: { ServerSubHandle: handle, ClientRequestHandle: 'cancel-1' } };
  equal('SubscriptionCancel returns the handle',
    (await call(client, 'SubscriptionCancel', cancel)).attributes.ClientRequestHandle, 'cancel-1');
  await fails('a second SubscriptionCancel is a fault', call(client, 'SubscriptionCancel', cancel), 'E_NOSUBSCRIPTION');
}

async function main() {
  const client = await soap.createClientAsync(`${url}?wsdl`, { customDeserializer });
  for (const action of [checkStatus, checkBrowse, checkProperties, checkRead, checkValues, checkRefusals,
    checkSubscription]) {
    await action(client);
  }
  console.log(`${failures} failed`);
  process.exitCode = failures === 0 ? 0 : 1;
}

main();
