// Drives all eight services with the npm package "soap", from the description beside this file. Prints a line per
// check. Node.js looks for the package beside this file, so run it with run_soap_client, which installs it.
import assert from 'node:assert';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import soap from 'soap';

const url = process.env.KX_URL;
const description = path.join(path.dirname(fileURLToPath(import.meta.url)), 'xmlda.wsdl');

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
function typed(type, text) {
  return { attributes: { 'xsi:type': type }, $value: text };
}

function toValue(value) {
  if (value === undefined) {
    return undefined;
  }
  const type = value.attributes['xsi:type'];
  const members = Object.keys(value).find((name) => name !== 'attributes' && name !== '$value');
  return [type, members === undefined ? value.$value : value[members]];
}

function toItems(list) {
  // An empty list comes as null.
  return (list?.Items ?? []).map((item) => [item.attributes.ItemName, toValue(item.Value)]);
}

async function call(client, service, request) {
  const [reply] = await client[`${service}Async`](request);
  return reply;
}

async function fails(name, reply, expected) {
  try {
    const got = await reply;
    check(name, () => assert.fail(`no error, got ${JSON.stringify(got)}`));
  } catch (error) {
    const fault = error.root?.Envelope?.Body?.Fault;
    equal(name, [error.response?.status, fault?.faultcode ?? error.response?.data], expected);
  }
}

async function checkStatus(client) {
  const reply = await call(client, 'GetStatus', { attributes: { ClientRequestHandle: 'status-1' } });
  equal('GetStatus tells the vendor', reply.Status.VendorInfo, 'Brevandor OPC XML DA Server');
  equal('GetStatus tells the interface', reply.Status.SupportedInterfaceVersions, ['XML_DA_Version_1_0']);
  equal('GetStatus returns the handle', reply.GetStatusResult.attributes.ClientRequestHandle, 'status-1');
  equal('the server is running', reply.GetStatusResult.attributes.ServerState, 'running');
}

async function checkBrowse(client) {
  const reply = await call(client, 'Browse', {});
  equal('Browse lists the root', reply.Elements.map((element) => element.attributes.ItemName),
    ['/boiler', '/feed_water', '/turbine', '/alarms', '/maintenance', '/instruments']);
  const described = await call(client, 'Browse', {
    attributes: { ItemName: '/boiler/temperature', ReturnPropertyValues: true },
    PropertyNames: ['highEU', 'accessRights', 'telvix:fractionalDigits'],
  });
  equal('Browse gives properties',
    described.Elements[0].Properties.map((each) => [each.attributes.Name, toValue(each.Value)]),
    [['accessRights', ['xsd:string', 'readable']], ['highEU', ['xsd:double', '400.000000']],
      ['telvix:fractionalDigits', ['xsd:int', '1']]]);
  await fails('Browse of an unknown item is a fault',
    call(client, 'Browse', { attributes: { ItemName: 'nothing' } }), [400, 'E_UNKNOWNITEMNAME']);
}

async function checkProperties(client) {
  const reply = await call(client, 'GetProperties', {
    attributes: { ReturnPropertyValues: true, ClientRequestHandle: 'p' },
    ItemIDs: [{ attributes: { ItemName: 'boiler/mode' } }, { attributes: { ItemName: 'boiler/nothing' } }],
    PropertyNames: ['euInfo', 'quality', 'dataType'],
  });
  equal('GetProperties leaves out what does not exist',
    reply.PropertyLists.map((list) => list.attributes.ItemName), ['/boiler/mode']);
  equal('GetProperties gives values',
    reply.PropertyLists[0].Properties.map((each) => [each.attributes.Name, toValue(each.Value)]),
    [['dataType', ['xsd:QName', 'xsd:int']], ['euInfo', ['ArrayOfString', ['off', 'manual', 'automatic']]],
      ['quality', ['OPCQuality', 'good']]]);
  equal('GetProperties returns the handle', reply.GetPropertiesResult.attributes.ClientRequestHandle, 'p');
}

async function checkRead(client) {
  const reply = await call(client, 'Read', {
    Options: { attributes: { ReturnItemTime: true, ClientRequestHandle: 'read-1' } },
    ItemList: {
      Items: [{ attributes: { ItemName: 'boiler/temperature_setpoint', ClientItemHandle: 'a' } },
        ...['boiler/nothing', 'boiler', 'boiler/mode', 'feed_water/trim', 'feed_water/trim_steps',
          'feed_water/branch_positions', 'maintenance/note', 'maintenance/interval', 'maintenance/last_inspection',
          'maintenance/contacts'].map((name) => ({ attributes: { ItemName: name } }))],
    },
  });
  equal('Read gives values, and leaves out what does not exist', toItems(reply.RItemList), [
    ['/boiler/temperature_setpoint', ['xsd:double', '180.000000']],
    ['/boiler', undefined],
    ['/boiler/mode', ['xsd:int', '2']],
    ['/feed_water/trim', ['xsd:byte', '-2']],
    ['/feed_water/trim_steps', ['ArrayOfByte', ['-20', '-10', '0', '10', '20']]],
    ['/feed_water/branch_positions', ['ArrayOfByte', ['48', '52', '-56']]],
    ['/maintenance/note', ['xsd:string', 'Gasket of the drum manhole: check for leaks < 5 ml/min.']],
    ['/maintenance/interval', ['xsd:duration', 'P90D']],
    ['/maintenance/last_inspection', ['xsd:dateTime', '2026-09-14T06:30:00Z']],
    ['/maintenance/contacts', ['ArrayOfString', ['control room', 'boiler house']]],
  ]);
  equal('Read returns the item\'s handle', reply.RItemList.Items[0].attributes.ClientItemHandle, 'a');
  check('Read gives the time', () => assert.match(reply.RItemList.Items[0].attributes.Timestamp, /^20\d\d-.*Z$/));
  equal('Read returns the request\'s handle', reply.ReadResult.attributes.ClientRequestHandle, 'read-1');
  await fails('A Read of an invalid path is a bad request',
    call(client, 'Read', { ItemList: { Items: [{ attributes: { ItemName: 'a//b' } }] } }), [400, 'Bad request']);
}

function write(client, items, attributes) {
  return call(client, 'Write', {
    attributes,
    ItemList: { Items: items.map(([name, value]) => ({ attributes: { ItemName: name }, Value: value })) },
  });
}

async function checkWrite(client) {
  const reply = await write(client, [
    ['boiler/temperature_setpoint', typed('xsd:double', 185.5)],
    ['boiler/temperature', typed('xsd:double', 99)],
    ['feed_water/trim', typed('xsd:byte', 7)],
    ['feed_water/trim_steps', { attributes: { 'xsi:type': 'ArrayOfByte' }, byte: [-1, 1] }],
    ['maintenance/contacts', { attributes: { 'xsi:type': 'ArrayOfString' }, string: ['a & b', 'ü'] }],
    ['maintenance/interval', typed('xsd:duration', 'P3DT4H')],
    ['maintenance/last_inspection', typed('xsd:dateTime', '2027-01-02T03:04:05Z')],
    ['alarms/horn', typed('xsd:boolean', 1)],
    ['alarms/horn', typed('xsd:boolean', true)],
  ], { ReturnValuesOnReply: true });
  equal('Write takes values, and leaves out what is read-only', toItems(reply.RItemList), [
    ['/boiler/temperature_setpoint', ['xsd:double', '185.500000']],
    ['/feed_water/trim', ['xsd:byte', '7']],
    ['/feed_water/trim_steps', ['ArrayOfByte', ['-1', '1']]],
    ['/maintenance/contacts', ['ArrayOfString', ['a & b', 'ü']]],
    ['/maintenance/interval', ['xsd:duration', 'P3DT4H']],
    ['/maintenance/last_inspection', ['xsd:dateTime', '2027-01-02T03:04:05Z']],
    ['/alarms/horn', ['xsd:boolean', '1']],
    ['/alarms/horn', ['xsd:boolean', '0']], // of "true"
  ]);
  await fails('Write of another type is a bad request',
    write(client, [['boiler/mode', typed('xsd:string', '1')]], { ReturnValuesOnReply: false }), [400, 'Bad request']);
  await fails('Write without ReturnValuesOnReply is a bad request',
    write(client, [['feed_water/trim', typed('xsd:byte', 1)]], {}), [400, 'Bad request']);
}

function poll(client, handles, attributes) {
  return call(client, 'SubscriptionPolledRefresh', { attributes, ServerSubHandles: handles });
}

async function checkSubscription(client) {
  const reply = await call(client, 'Subscribe', {
    attributes: { ReturnValuesOnReply: true, SubscriptionPingRate: 60000 },
    ItemList: {
      Items: [{ attributes: { ItemName: 'boiler/mode', ClientItemHandle: 'mode' } },
        { attributes: { ItemName: 'boiler/nothing' } }, { attributes: { ItemName: 'boiler/temperature_setpoint' } }],
    },
  });
  const handle = reply.attributes.ServerSubHandle;
  equal('Subscribe gives the values',
    reply.RItemList.Items.map(({ ItemValue: item }) => [item.attributes.ItemName, toValue(item.Value)]),
    [['/boiler/mode', ['xsd:int', '2']], ['/boiler/temperature_setpoint', ['xsd:double', '185.500000']]]);
  equal('the first poll reports all items', toItems((await poll(client, [handle])).RItemList),
    [['/boiler/mode', ['xsd:int', '2']], ['/boiler/temperature_setpoint', ['xsd:double', '185.500000']]]);
  equal('the next poll reports nothing', toItems((await poll(client, [handle])).RItemList), []);

  await write(client, [['boiler/mode', typed('xsd:int', 1)]], { ReturnValuesOnReply: false });
  const holdTime = Date.now() + 1000;
  const held = await poll(client, ['1', handle], { HoldTime: new Date(holdTime).toISOString() });
  equal('a held poll reports the change', toItems(held.RItemList), [['/boiler/mode', ['xsd:int', '1']]]);
  check('it is held until its hold time', () => assert(Date.now() >= holdTime));
  equal('it names the handle that is none', held.InvalidServerSubHandles, ['1']);

  const cancel = { attributes: { ServerSubHandle: handle, ClientRequestHandle: 'cancel-1' } };
  equal('SubscriptionCancel returns the handle',
    (await call(client, 'SubscriptionCancel', cancel)).attributes.ClientRequestHandle, 'cancel-1');
  await fails('a second SubscriptionCancel is a fault', call(client, 'SubscriptionCancel', cancel),
    [400, 'E_NOSUBSCRIPTION']);
}

async function main() {
  const client = await soap.createClientAsync(description, {}, url);
  await checkStatus(client);
  await checkBrowse(client);
  await checkProperties(client);
  await checkRead(client);
  await checkWrite(client);
  await checkSubscription(client);
  console.log(`${failures} failed`);
  process.exitCode = failures === 0 ? 0 : 1;
}

main();
