// Decides about each request before a server sees it. The servers look at nothing but the body: whatever the header
// SOAPAction says, the body is what counts here, too.
//
// Bodies are searched as bytes. That is safe because only UTF-8 is let through, and because the names of elements and
// attributes cannot be written otherwise than letter by letter: without a document type there are no entities.

const MAXIMUM_HOLD_SECONDS = 60;
const MAXIMUM_DECLARATION = 256;

const TAB = 0x09, LINE_FEED = 0x0a, RETURN = 0x0d, BLANK = 0x20;
const DOUBLE_QUOTE = 0x22, QUOTE = 0x27, SLASH = 0x2f, LESS = 0x3c, EQUALS = 0x3d, GREATER = 0x3e;

function Refusal(status, reason) {
    this.status = status;
    this.reason = reason;
}

function isBlank(byte) {
    return byte === BLANK || byte === TAB || byte === LINE_FEED || byte === RETURN;
}

// Whether `byte` cannot be part of a tag's name. Anything else may be: this must not be too narrow.
function endsName(byte) {
    return byte === undefined || isBlank(byte) || byte === SLASH || byte === GREATER || byte === LESS;
}

// Whether there may be a start tag whose name ends in `name`, whatever its prefix. What stands in comments and texts
// is taken for a tag as well.
function hasElement(body, name) {
    for (let at = body.indexOf(name); at !== -1; at = body.indexOf(name, at + 1)) {
        if (!endsName(body[at + name.length])) {
            continue;
        }
        let start = at - 1;
        while (start >= 0 && !endsName(body[start])) {
            start -= 1;
        }
        if (start >= 0 && body[start] === LESS) {
            return true;
        }
    }
    return false;
}

// Calls `check` with the text of whatever may be an attribute of this name; null for one that has no proper text.
function forEachAttribute(body, name, check) {
    for (let at = body.indexOf(name); at !== -1; at = body.indexOf(name, at + 1)) {
        let next = at + name.length;
        while (isBlank(body[next])) {
            next += 1;
        }
        if (body[next] !== EQUALS) {
            continue;
        }
        next += 1;
        while (isBlank(body[next])) {
            next += 1;
        }
        const quote = body[next];
        const end = quote === QUOTE || quote === DOUBLE_QUOTE ? body.indexOf(quote, next + 1) : -1;
        check(end === -1 || end - next > 64 ? null : body.slice(next + 1, end).toString());
    }
}

// Where the text begins: behind a byte order mark and blanks.
function findStart(body) {
    let start = body[0] === 0xef && body[1] === 0xbb && body[2] === 0xbf ? 3 : 0;
    while (isBlank(body[start])) {
        start += 1;
    }
    return start;
}

function requireUtf8(body) {
    const start = findStart(body);
    if (body[start] !== LESS || body.indexOf(0) !== -1) {
        throw new Refusal(400, 'not UTF-8');
    }
    const head = body.slice(start, start + MAXIMUM_DECLARATION).toString();
    if (!head.startsWith('<?xml')) {
        return;
    }
    const end = head.indexOf('?>');
    const declaration = head.slice(0, end);
    if (end === -1 || (declaration.includes('encoding') && !/encoding\s*=\s*["']utf-8["']/i.test(declaration))) {
        throw new Refusal(400, 'not UTF-8');
    }
}

function requireNoDocumentType(body) {
    if (body.indexOf('<!DOCTYPE') !== -1) {
        throw new Refusal(400, 'document type');
    }
}

// The form of xsd:dateTime that clients use. Without a zone it is UTC.
const TIME = /^(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d)(\.\d{1,9})?(Z|([+-])(\d\d):(\d\d))?$/;

// In milliseconds; NaN if the text is none of that form.
function parseTime(text) {
    const parts = text === null ? null : text.match(TIME);
    if (parts === null) {
        return NaN;
    }
    const offset = parts[4] ? (Number(parts[5]) * 60 + Number(parts[6])) * 60000 : 0;
    return Date.parse(parts[1] + 'Z') - (parts[4] === '-' ? -offset : offset);
}

// A server holds a poll as long as it is asked to, and a thread with it.
function requireShortHold(body) {
    forEachAttribute(body, 'HoldTime', (text) => {
        const time = parseTime(text);
        if (isNaN(time)) {
            throw new Refusal(400, 'hold time not understood');
        }
        if (time - Date.now() > MAXIMUM_HOLD_SECONDS * 1000) {
            throw new Refusal(403, 'hold time too far off');
        }
    });
}

function getBody(request) {
    let body;
    try {
        body = request.requestBuffer;
    } catch (error) {
        throw new Refusal(413, 'body not in memory');
    }
    if (!body || body.length === 0) {
        throw new Refusal(400, 'no body');
    }
    return body;
}

function requireAdmission(request) {
    const group = request.variables.kx_group;
    if (group !== 'reader' && group !== 'full') {
        throw new Refusal(403, 'in no group');
    }
    if (request.method !== 'POST') {
        throw new Refusal(405, 'not POST');
    }
    const body = getBody(request);
    requireUtf8(body);
    requireNoDocumentType(body);
    requireShortHold(body);
    if (group === 'reader' && (/Write/.test(request.headersIn['SOAPAction'] || '') || hasElement(body, 'Write'))) {
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
