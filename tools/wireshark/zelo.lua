-- Decodes the pcapng files of zelobox in Wireshark; docs/protocol.md describes what is in them.
--
--   wireshark -X lua_script:tools/wireshark/zelo.lua trace.pcapng
--   tshark -X lua_script:tools/wireshark/zelo.lua -r trace.pcapng -Y 'zelo.volume.value > 20'
--
-- Copied to the folder "Personal Lua Plugins" (Help, About Wireshark, Folders) it is there whenever Wireshark is.
-- The fields of a message are zelo.MESSAGE.FIELD with the names that zelobox decode gives them; those of a message
-- that is not in the table below are zelo.other.FIELD.

local zelo = Proto("zelo", "Set-top box messenger")

local PSEUDO_HEADER = 8
local FRAME_HEADER = 8
local SYNC = 0x6D

local messages = {
  [1] = "IPC_ALLOWED_MESSAGE_LIST", [8] = "IPC_UNHANDLED_8", [15] = "IPC_RECORDER_STATS",
  [23] = "IPC_CONFIG_REQUEST", [24] = "IPC_BROWSER_CONFIG", [25] = "IPC_UNHANDLED_25",
  [26] = "IPC_REMOTE_KEY", [27] = "IPC_UNHANDLED_27", [29] = "IPC_VIDEO_WINDOW",
  [32] = "IPC_PLAYER_PLAYBACK_INFO", [34] = "IPC_PREVIOUS_CONTROLLER", [36] = "IPC_UNHANDLED_36",
  [37] = "IPC_CLIENT_STATE", [38] = "IPC_CONFIG_STATE", [39] = "IPC_VOLUME",
  [40] = "IPC_PLAYER_MEDIA_INFO", [42] = "IPC_UNHANDLED_42", [44] = "IPC_VIDEO_WINDOW_MODE",
  [49] = "IPC_APP_LIFECYCLE", [58] = "IPC_MUTE",
}
local kinds = { [0] = "raw", "32-bit number", "64-bit number", "32-bit numbers", "text", "texts" }
local events = { [0] = "frame", [1] = "connected", [2] = "disconnected", [3] = "raw bytes" }
local directions = { [0] = "to the host", [1] = "to the middleware" }

-- Reads big-endian fields one after another. The first one that is not all there fails, and so does every later one;
-- failed numbers are 0.
local Reader = {}
Reader.__index = Reader

function Reader.new(payload)
  return setmetatable({ payload = payload, at = 0, left = payload and payload:len() or 0, failed = false }, Reader)
end

function Reader:take(count)
  self.failed = self.failed or count > self.left
  if self.failed or count == 0 then
    return nil
  end
  local range = self.payload(self.at, count)
  self.at = self.at + count
  self.left = self.left - count
  return range
end

-- Each returns the value and the bytes that it stands in, which are nil where there are none.
function Reader:number(width)
  local range = self:take(width)
  return range and range:uint() or 0, range
end

function Reader:number64(width)
  local range = self:take(width)
  return range and range:uint64() or UInt64(0), range
end

function Reader:text(length)
  local range = self:take(length)
  return range and range:raw() or "", range
end

function Reader:isAtEnd()
  return not self.failed and self.left == 0
end

-- The byte behind a text, which is 0 and which no receiver looks at.
function Reader:hasTerminator()
  return self:number(1) == 0
end

-- Its length in 32 bits before it. The terminator behind it is the caller's.
function Reader:longText()
  return self:text((self:number(4)))
end

-- A length that counts the terminator, in 16 bits; with it, whether that is 0.
function Reader:countedText()
  local length = self:number(2)
  self.failed = self.failed or length == 0
  local value, range = self:text(math.max(length - 1, 0))
  return value, range, self:hasTerminator()
end

-- A layout has the types of its fields, and reads them: add(name, value, range) shows one. It returns whether the
-- payload is exactly what its fields would be encoded to.
local layouts = {}

local function layout(fields, read)
  return { fields = fields, read = read }
end

local function numberLayout(width)
  return layout({ value = "uint64" }, function(reader, add)
    add("value", reader:number64(width))
    return reader:isAtEnd()
  end)
end

layouts.key = layout({ command = "uint16", modifier = "uint8", rest = "uint8" }, function(reader, add)
  local exact = reader.left == 4
  local value, range = reader:number(4)
  add("command", value % 0x10000, range and range(2, 2))
  add("modifier", math.floor(value / 0x10000) % 0x100, range and range(1, 1))
  local rest = math.floor(value / 0x1000000)
  if rest ~= 0 then
    add("rest", rest, range(0, 1))
  end
  return exact
end)

layouts.numbers = layout({ values = "uint32" }, function(reader, add)
  local count = reader:number(4)
  local exact = reader.left == 4 * count
  for _ = 1, math.min(count, math.floor(reader.left / 4)) do
    add("values", reader:number(4))
  end
  return exact and not reader.failed
end)

layouts.types = layout({ types = "uint32" }, function(reader, add)
  while reader.left >= 4 do
    add("types", reader:number(4))
  end
  return reader.left == 0
end)

layouts.text = layout({ text = "string" }, function(reader, add)
  add("text", reader:longText())
  return reader:hasTerminator() and reader:isAtEnd()
end)

layouts.texts = layout({ strings = "string" }, function(reader, add)
  local count = reader:number(4)
  local exact = true
  for _ = 1, count do
    local text, range = reader:longText()
    if reader.failed then
      break
    end
    add("strings", text, range)
    exact = reader:hasTerminator() and exact
  end
  return exact and reader:isAtEnd()
end)

layouts.window = layout({ x = "uint16", y = "uint16", width = "uint16", height = "uint16" }, function(reader, add)
  for _, name in ipairs({ "x", "y", "width", "height" }) do
    add(name, reader:number(2))
  end
  return reader:hasTerminator() and reader:isAtEnd()
end)

layouts.stats = layout({ value = "uint64" }, function(reader, add)
  local exact = reader.left == 1
  add("value", exact and reader:number64(1) or UInt64(0))
  return exact
end)

layouts.playback = layout({ record = "bytes" }, function(reader, add)
  local exact = reader.left == 30
  -- Otherwise, what the receiver goes on with.
  local default = "FFFFFFFF" .. string.rep("00", 26)
  add("record", nil, exact and reader:take(30) or ByteArray.new(default):tvb("Default record"):range())
  return exact
end)

-- Shows nothing of a payload that is cut short.
local function allOrNothing(fields, read)
  return layout(fields, function(reader, add)
    local found = {}
    local exact = read(reader, function(...) found[#found + 1] = table.pack(...) end)
    for _, each in ipairs(reader.failed and {} or found) do
      add(table.unpack(each, 1, each.n))
    end
    return exact and reader:isAtEnd()
  end)
end

-- A flag is one byte; any but 0 means yes, and only 1 is how that is written.
local function readFlag(reader, add, name)
  local value, range = reader:number(1)
  add(name, value ~= 0, range)
  return value <= 1
end

layouts.config = allOrNothing({
  forcePortalUrl = "bool", macAddress = "ether", displayWidth = "uint16", displayHeight = "uint16",
  displayFlag = "bool", auxWidth = "uint16", auxHeight = "uint16", apiMode = "string", language = "string",
  portalUrl = "string", auxText1 = "string", auxValue = "uint8", auxText2 = "string",
}, function(reader, add)
  local exact = readFlag(reader, add, "forcePortalUrl")
  add("macAddress", nil, reader:take(6))
  add("displayWidth", reader:number(2))
  add("displayHeight", reader:number(2))
  exact = readFlag(reader, add, "displayFlag") and exact
  add("auxWidth", reader:number(2))
  add("auxHeight", reader:number(2))
  local function text(name)
    local value, range, terminated = reader:countedText()
    local upToZero = name == "language" and value:match("^[^%z]*") or value
    add(name, upToZero, range)
    exact = exact and terminated and upToZero == value
  end
  text("apiMode")
  text("language")
  text("portalUrl")
  text("auxText1")
  add("auxValue", reader:number(1))
  text("auxText2")
  return exact
end)

layouts.media = allOrNothing({
  name = "string", flag = "bool", value64 = "uint64",
  ["streams.number1"] = "uint32", ["streams.number2"] = "uint32", ["streams.number3"] = "uint32",
  ["streams.text1"] = "string", ["streams.text2"] = "string",
}, function(reader, add)
  add("name", reader:longText())
  local exact = reader:hasTerminator()
  exact = readFlag(reader, add, "flag") and exact
  add("value64", reader:number64(8))
  local streams = reader:number(2)
  while streams > 0 and not reader.failed do
    streams = streams - 1
    for _, name in ipairs({ "number1", "number2", "number3" }) do
      add("streams." .. name, reader:number(4))
    end
    add("streams.text1", reader:longText())
    exact = reader:hasTerminator() and exact
    add("streams.text2", reader:longText())
    -- The receiver does not miss the last one.
    exact = (streams > 0 or reader.left > 0) and reader:hasTerminator() and exact
  end
  return exact
end)

layouts.bytes = layout({ bytes = "bytes" }, function(reader, add)
  if reader.left > 0 then
    add("bytes", nil, reader:take(reader.left))
  end
  return true
end)

local layoutsOfKinds = {
  [1] = numberLayout(4), [2] = numberLayout(8), [3] = layouts.numbers, [4] = layouts.text, [5] = layouts.texts,
}
local layoutsOfTypes = {
  [1] = layouts.types, [15] = layouts.stats, [24] = layouts.config, [29] = layouts.window, [32] = layouts.playback,
  [40] = layouts.media,
}
local REMOTE_KEY = 26

local function layoutOf(kind, number)
  if kind == 1 and number == REMOTE_KEY then
    return layouts.key
  end
  return layoutsOfKinds[kind] or layoutsOfTypes[number] or layouts.bytes
end

local header = {
  version = ProtoField.uint8("zelo.version", "Version of the pseudo header"),
  event = ProtoField.uint8("zelo.event", "Event", base.DEC, events),
  direction = ProtoField.uint8("zelo.direction", "Direction", base.DEC, directions),
  connection = ProtoField.uint32("zelo.connection", "Connection"),
  reason = ProtoField.string("zelo.reason", "Reason"),
  raw = ProtoField.bytes("zelo.raw", "Bytes that are no frame"),
  sync = ProtoField.uint8("zelo.sync", "Sync byte", base.HEX),
  kind = ProtoField.uint8("zelo.kind", "Kind", base.DEC, kinds),
  type = ProtoField.uint16("zelo.type", "Type", base.DEC, messages),
  length = ProtoField.uint32("zelo.length", "Length of the payload"),
  name = ProtoField.string("zelo.name", "Message"),
  inexact = ProtoField.bool("zelo.inexact", "Not what its fields are encoded to"),
}

-- By message and name. Every kind of payload can be under every type.
local payloadFields = {}
local allFields = {}
for _, field in pairs(header) do
  allFields[#allFields + 1] = field
end

local function shortName(number)
  return messages[number] and messages[number]:sub(5):lower() or "other"
end

local function declareFields(message, fields)
  payloadFields[message] = payloadFields[message] or {}
  for name, fieldType in pairs(fields) do
    if not payloadFields[message][name] then
      allFields[#allFields + 1] = ProtoField[fieldType]("zelo." .. message .. "." .. name, name)
      payloadFields[message][name] = allFields[#allFields]
    end
  end
end

local function declareMessage(number)
  declareFields(shortName(number), layouts.bytes.fields)
  for kind = 0, 5 do
    declareFields(shortName(number), layoutOf(kind, number).fields)
  end
end

for number, _ in pairs(messages) do
  declareMessage(number)
end
declareMessage(-1)
zelo.fields = allFields

local expert = ProtoExpert.new("zelo.inexact.expert", "Payload is not what its fields are encoded to",
                               expert.group.MALFORMED, expert.severity.WARN)
zelo.experts = { expert }

local function addItem(tree, field, value, range)
  if type(value) == "string" then
    value = value:gsub("%z", "\xE2\x90\x80") -- the symbol for a zero byte, which would end the text here
  end
  if range and value ~= nil then
    return tree:add(field, range, value)
  end
  return tree:add(field, range or value)
end

-- @return the fields in one line
local function dissectPayload(kind, number, payload, tree)
  local fields = payloadFields[shortName(number)]
  local texts = {}
  local function add(name, value, range)
    addItem(tree, fields[name], value, range)
    local shown = value == nil and tostring(range:bytes()):lower() or tostring(value)
    texts[#texts + 1] = name .. "=" .. shown
  end
  local exact = layoutOf(kind, number).read(Reader.new(payload), add)
  if not exact then
    tree:add_proto_expert_info(expert)
    tree:add(header.inexact, true)
    if payload then
      tree:add(fields.bytes, payload)
    end
    texts[#texts + 1] = "inexact"
  end
  return table.concat(texts, " ")
end

local function dissectFrame(frame, tree)
  if frame:len() < FRAME_HEADER or frame(0, 1):uint() ~= SYNC then
    return "no frame"
  end
  local kind, number = frame(1, 1):uint(), frame(2, 2):uint()
  tree:add(header.sync, frame(0, 1))
  tree:add(header.kind, frame(1, 1))
  tree:add(header.type, frame(2, 2))
  tree:add(header.length, frame(4, 4))
  local name = messages[number] or ("type " .. number)
  tree:add(header.name, frame(2, 2), name):set_generated()
  local fields = dissectPayload(kind, number, frame:len() > FRAME_HEADER and frame(FRAME_HEADER) or nil, tree)
  return name .. (fields == "" and "" or " ") .. fields
end

local function dissectEvent(event, contents, tree)
  if event == 0 and contents then
    return dissectFrame(contents, tree)
  elseif event == 2 and contents then
    local reason = contents:string(ENC_UTF_8)
    tree:add(header.reason, contents, reason)
    return "disconnected: " .. reason
  elseif event == 3 and contents then
    tree:add(header.raw, contents)
    return "raw bytes " .. tostring(contents:bytes()):lower()
  end
  return events[event] or "unknown event"
end

function zelo.dissector(buffer, pinfo, root)
  if buffer:len() < PSEUDO_HEADER or buffer(0, 1):uint() ~= 1 then
    return 0
  end
  local event, direction = buffer(1, 1):uint(), buffer(2, 1):uint()
  local tree = root:add(zelo, buffer())
  tree:add(header.version, buffer(0, 1))
  tree:add(header.event, buffer(1, 1))
  tree:add(header.direction, buffer(2, 1))
  tree:add(header.connection, buffer(4, 4))
  local contents = buffer:len() > PSEUDO_HEADER and buffer(PSEUDO_HEADER) or nil
  local text = dissectEvent(event, contents, tree)
  local library = "library " .. buffer(4, 4):uint()
  pinfo.cols.protocol = "ZELO"
  local fromLibrary = direction == 1 or event == 1
  pinfo.cols.src = fromLibrary and library or "middleware"
  pinfo.cols.dst = fromLibrary and "middleware" or library
  pinfo.cols.info = text
  tree:append_text(": " .. text)
  return buffer:len()
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, zelo)
