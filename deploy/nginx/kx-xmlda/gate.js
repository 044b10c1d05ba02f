// Decides about each request before a server sees it. The servers look at nothing but the body: whatever the header
// SOAPAction says, the body is what counts here, too.
//
// Bodies are searched as texts. That is safe because only UTF-8 is let through, and because the names of elements and
// attributes cannot be written otherwise than letter by letter: without a document type there are no entities.
//
// nginx serves nobody else while this runs. Long texts are therefore left to regular expressions, each of which passes
// over a text once; loops written here run over a bounded number of matches.

const MAXIMUM_HOLD_SECONDS = 60;
const MAXIMUM_PING_SECONDS = 300;
const MAXIMUM_DECLARATION = 256;
const MAXIMUM_MENTIONS = 10;

function Refusal(status, reason) {
    this.status = status;
    this.reason = reason;
}

// What a page of another site can make a browser send without asking first has none of these types.
const XML_TYPE = /^(text\/xml|application\/([\w.+-]+\+)?xml)[ \t]*(;|$)/i;

function requireXml(request) {
    if (!XML_TYPE.test(request.headersIn['Content-Type'] || '')) {
        throw new Refusal(415, 'not XML');
    }
}

// Browsers say which site's page sends a request; other programs say nothing.
function requireOwnOrigin(request) {
    const origin = request.headersIn['Origin'];
    const own = request.variables.scheme + '://' + (request.headersIn['Host'] || '');
    if (origin !== undefined && origin.toLowerCase() !== own.toLowerCase()) {
        throw new Refusal(403, 'foreign origin');
    }
}

// A start tag whose name ends in "Write", whatever its prefix. What stands in comments and texts is taken for a tag as
// well. Whatever does not end a tag's name may be part of it: this must not be too narrow.
const WRITE_TAG = /<[^ \t\r\n/<>]*Write([ \t\r\n/<>]|$)/;

// Calls `check` with the value of whatever may be an attribute of this name; empty for one that has no proper value.
function forEachValue(text, name, check) {
    const attribute = new RegExp(name + '[ \\t\\r\\n]*=[ \\t\\r\\n]*(?:"([^"<]{0,64})"|\'([^\'<]{0,64})\')?', 'g');
    let mentions = 0;
    for (let match = attribute.exec(text); match !== null; match = attribute.exec(text)) {
        mentions += 1;
        if (mentions > MAXIMUM_MENTIONS) {
            throw new Refusal(400, 'too many times');
        }
        check(match[1] || match[2] || '');
    }
}

function requireUtf8(text) {
    const start = text.match(/^\ufeff?[ \t\r\n]*</);
    if (start === null || /\0/.test(text)) {
        throw new Refusal(400, 'not UTF-8');
    }
    if (/<</.test(text)) { // Each "<" would be tried as a tag.
        throw new Refusal(400, 'not XML');
    }
    const head = text.substr(start[0].length - 1, MAXIMUM_DECLARATION);
    if (!head.startsWith('<?xml')) {
        return;
    }
    const end = head.indexOf('?>');
    const declaration = head.slice(0, end);
    if (end === -1 || (declaration.includes('encoding') && !/encoding\s*=\s*["']utf-8["']/i.test(declaration))) {
        throw new Refusal(400, 'not UTF-8');
    }
}

function requireNoDocumentType(text) {
    if (/<!DOCTYPE/.test(text)) {
        throw new Refusal(400, 'document type');
    }
}

// The form of xsd:dateTime that clients use. Without a zone it is UTC.
const TIME = /^(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d)(\.\d{1,9})?(Z|([+-])(\d\d):(\d\d))?$/;

// In milliseconds; NaN if the text is none of that form.
function parseTime(text) {
    const parts = text.match(TIME);
    if (parts === null) {
        return NaN;
    }
    const offset = parts[4] ? (Number(parts[5]) * 60 + Number(parts[6])) * 60000 : 0;
    return Date.parse(parts[1] + 'Z') - (parts[4] === '-' ? -offset : offset);
}

// A server holds a poll as long as it is asked to, and a thread with it.
function requireShortHold(text) {
    forEachValue(text, 'HoldTime', (value) => {
        const time = parseTime(value);
        if (isNaN(time)) {
            throw new Refusal(400, 'hold time not understood');
        }
        if (time - Date.now() > MAXIMUM_HOLD_SECONDS * 1000) {
            throw new Refusal(403, 'hold time too far off');
        }
    });
}

// A server keeps a subscription that nobody polls for as long as its ping rate says.
function requireShortPing(text) {
    forEachValue(text, 'SubscriptionPingRate', (value) => {
        if (!/^[ \t\r\n]*[+-]?\d{1,10}[ \t\r\n]*$/.test(value)) {
            throw new Refusal(400, 'ping rate not understood');
        }
        if (Number(value) > MAXIMUM_PING_SECONDS * 1000) {
            throw new Refusal(403, 'ping rate too long');
        }
    });
}

function getText(request) {
    let body;
    try {
        body = request.requestBuffer;
    } catch (error) {
        throw new Refusal(413, 'body not in memory');
    }
    if (!body || body.length === 0) {
        throw new Refusal(400, 'no body');
    }
    return body.toString();
}

function requireAdmission(request) {
    const group = request.variables.kx_group;
    if (group !== 'reader' && group !== 'full') {
        throw new Refusal(403, 'in no group');
    }
    if (request.method !== 'POST') {
        throw new Refusal(405, 'not POST');
    }
    requireXml(request);
    requireOwnOrigin(request);
    const text = getText(request);
    requireUtf8(text);
    requireNoDocumentType(text);
    requireShortHold(text);
    requireShortPing(text);
    if (group === 'reader' && (/Write/.test(request.headersIn['SOAPAction'] || '') || WRITE_TAG.test(text))) {
        throw new Refusal(403, 'Write by a reader');
    }
}

function admit(request) {
    try {
        requireAdmission(request);
    } catch (error) {
        // What goes wrong here does not go through.
        request.variables.kx_refusal = error instanceof Refusal ? error.reason : String(error);
        request.return(error instanceof Refusal ? error.status : 500);
        return;
    }
    request.internalRedirect('@kx_servers');
}

export default { admit };
