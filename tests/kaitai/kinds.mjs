// What the program's export calls the items of docs/format.ksy: by tag the kind of its record, and
// of that the fields.

import { readFileSync } from "node:fs";

// Of a number that has no word, the number.
const plain = (word) => word.toLowerCase().replace(/[^a-z0-9]+/g, "_").replace(/^format_/, "");
const word = (names, number) => names[number] === undefined ? number : plain(names[number]);
const STATUS = ["TST", "ERR", "BLANK", "BAD"];
const MICROPHONE_POSITIONS = [2, 0, 1, 3];
const TWO_DIGITS = /../g;

function reading(name, number) {
  const status = number >= 252 && number <= 255;
  return status ? { [name]: null, [`${name}_status`]: STATUS[number - 252] }
    : { [name]: number === 1023 ? null : number };
}

// UTF-8 where it is, else ISO 8859-1, byte by byte, and then the bytes too.
function text(bytes) {
  let found = "", isUtf8 = true;
  for (let at = 0; at < bytes.length;) {
    const size = [1, 2, 3, 4].find((n) => isCharacter(bytes.subarray(at, at + n), n)) ?? 0;
    isUtf8 &&= size > 0;
    found += size > 0 ? Buffer.from(bytes.subarray(at, at + size)).toString("utf8")
      : String.fromCharCode(bytes[at]);
    at += Math.max(size, 1);
  }
  return isUtf8 ? { text: found } : { text: found, text_bytes: Buffer.from(bytes).toString("hex") };
}

function isCharacter(bytes, size) {
  if (bytes.length < size) return false;
  try {
    const decoder = new TextDecoder("utf-8", { fatal: true, ignoreBOM: true });
    return [...decoder.decode(bytes)].length === 1;
  } catch {
    return false;
  }
}

// "id | hex | type | viewer's name" of the table of policies.
export function policiesOf(formatPath) {
  const row = /^\| (\d+) \| 0x.. \| [bnw] \| (.*?) \| /gm;
  const rows = readFileSync(formatPath, "utf8").matchAll(row);
  return Object.fromEntries([...rows].filter(([, , name]) => name !== "(unknown)")
    .map(([, id, name]) => [Number(id), name]));
}

export function kindsOf(Recording, policies) {
  const R = Recording;
  const device = (types) => (b) => ({
    units: word(R.SpeedUnits, b.units), type: types[b.type] ?? b.type, ...text(b.text) });
  const named = (b) => text(b.text);
  const none = () => ({});
  const position = (b, { position: place, tag }) => ({
    latitude: place === null ? null : place.latitude,
    longitude: place === null ? null : place.longitude,
    absolute: tag === 0x91 });
  const microphone = (b) => ({ stream_number: b.streamNumber,
                               position: MICROPHONE_POSITIONS[b.streamNumber] ?? null });
  const input = (b) => ({ input: word(R.InputId, b.input), on: b.isOn });
  const radar = (b) => ({
    radar: b.radar, ...reading("target", b.target), ...reading("lock", b.lock),
    ...reading("fastest", b.fastest), direction: Number(b.direction) });
  const radarTarget = (b) => ({ radar: b.radar, ...reading("target", b.target), lock: null,
                                fastest: null, direction: null });
  const speed = (b) => ({ device: b.device, ...reading("speed", b.speed) });
  const temperature = (b) => ({ sensor: word(R.Sensor, b.sensor), temperature: b.degrees });
  const policy = (b) => ({ policy: word(policies, b.policy), value: b.value });
  const switched = (name) => (b) => ({ [name]: b[name], state: word(R.SwitchState, b.state) });
  const kinds = {
    MAC: ["mac", (b) => ({
      mac: Buffer.from(b.address).toString("hex").match(TWO_DIGITS).join(":") })],
    TIME: ["time", (b) => ({ clock: b.seconds * 1000 })],
    TIME_ZONE_NAME: ["time_zone_name", named], OFFICER: ["officer", named],
    DEPARTMENT: ["department", named], VEHICLE: ["vehicle", named], BADGE_ID: ["badge", named],
    VERSION: ["version", (b) => ({ component: word(R.Component, b.component), ...text(b.text) })],
    SERIAL_NUMBER: ["serial_number", named], TIME_ZONE: ["time_zone", named],
    POLICY_8: ["policy", policy], POLICY_16: ["policy", policy],
    CONFIGURATION_END: ["configuration_end", none], LOG: ["log", named],
    TICK_ADJUST: ["tick_adjust", (b) => ({ ticks: b.ticks })],
    CAMERA_DESC: ["camera_name", (b) => ({ port: b.port, ...text(b.text) })],
    CAMERA_STATE: ["camera", switched("port")],
    VIDEO_STREAM_FORMAT: ["stream_format", (b) => ({
      stream: b.stream, format: word(R.VideoFormat, b.format),
      camera: word(R.FormatCamera, b.camera) })],
    VIDEO_STREAM_STATE: ["stream", switched("stream")],
    BOOKMARK: ["bookmark", none],
    MIC_DESC: ["microphone_name", (b) => ({ ...microphone(b), ...text(b.text) })],
    MIC_DATA: ["microphone", (b) => ({ ...microphone(b), what: word(R.MicValue, b.what),
                                      value: b.value !== 0 })],
    RADAR_DESC: ["radar_device", (b) => ({ radar: b.id,
                                          ...device(["disconnected", "generic"])(b) })],
    RADAR_STATE: ["radar_state", (b) => ({ radar: b.radar, connected: b.connected === 1 })],
    SPEED_DESC: ["speed_device", (b) => ({ device: b.id,
                                          ...device(["disconnected", "gps", "radar"])(b) })],
    GPS_DESC: ["gps_receiver", named], GPS_ABS: ["position", position],
    GPS_REL8: ["position", position], GPS_REL16: ["position", position],
    GPS_STATE: ["gps_state", (b) => ({ available: b.available === 1 })],
    LVS_STATE: ["live_stream", (b) => ({
      stream: b.stream, camera: b.camera, enabled: b.state !== 0,
      quality: b.quality === 0 ? "low" : "high", port: b.port,
      address: [24, 16, 8, 0].map((shift) => (b.address >>> shift) & 0xff).join(".") })],
    BUTTON: ["button", (b) => ({ button: word(R.ButtonId, b.button),
                                action: word(R.ButtonAction, b.action) })],
    VOLT_PERCENT: ["voltage", (b) => ({ percent: b.percent })],
    TEMP_DESC: ["temperature_sensor", (b) => ({ sensor: word(R.Sensor, b.sensor),
                                               ...text(b.text) })],
    EOS: ["end_of_stream", none], TEST: ["test", named],
  };
  for (const name of Object.keys(R.Tag)) {
    if (/_(ON|OFF)$/.test(name)) kinds[name] = ["input", input];
    if (name.startsWith("RADAR_DATA_")) kinds[name] = ["radar", radar];
    if (name.startsWith("RADAR_TARGET_")) kinds[name] = ["radar", radarTarget];
    if (/^SPEED_(8|16)_/.test(name)) kinds[name] = ["speed", speed];
    if (/^TEMP_(INLET|OUTLET|POWER|CPU)$/.test(name)) kinds[name] = ["temperature", temperature];
  }
  return Object.fromEntries(Object.entries(kinds).map(([name, kind]) => [R.Tag[name], kind]));
}

// A line of the export as kindsOf has it: words plain, places in ten-thousandths of a minute.
const PLAIN = new Set(["input", "sensor", "policy", "component", "button", "action", "units",
                       "format", "camera", "what", "state"]);
const ELSEWHERE = new Set(["time", "time_quality", "repeats", "position", "packet_crc", "run",
                           "file", "cluster", "offset"]);
export function plainLine(line) {
  const isMicrophone = line.kind.startsWith("microphone");
  return Object.fromEntries(Object.entries(line)
    .filter(([name]) => !ELSEWHERE.has(name) || (name === "position" && isMicrophone))
    .map(([name, value]) => {
      if (PLAIN.has(name) && typeof value === "string") return [name, plain(value)];
      if (name === "clock") return [name, Date.parse(value)];
      const isPlace = (name === "latitude" || name === "longitude") && value !== null;
      return [name, isPlace ? Math.round(value * 600000) : value];
    }));
}
