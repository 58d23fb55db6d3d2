// What docs/format.ksy leaves to its reader: which copy of a cluster counts, which CRC is right,
// the upper bits of ticks, positions from record to record. All of docs/format.md, none of the
// program.

import { createRequire } from "node:module";
import { readFileSync } from "node:fs";
import compiler from "kaitai-struct-compiler";
import KaitaiStream from "kaitai-struct/KaitaiStream.js";
import YAML from "yaml";

const CLUSTER = 4096;
const HALF_CIRCLE = 180 * 60 * 10000;

// The parser that the description makes.
export async function parserOf(path) {
  const files = await compiler.compile("javascript", YAML.parse(readFileSync(path, "utf8")), null);
  const made = { exports: {} };
  const [source] = Object.values(files);
  new Function("exports", "require", "module", source)(made.exports, createRequire(import.meta.url),
                                                       made);
  const Recording = made.exports.VmrRecording;
  return { Recording, parse: (bytes) => new Recording(new KaitaiStream(bytes)) };
}

export function crc8(bytes) {
  let crc = 0xff;
  for (const byte of bytes) {
    crc ^= byte;
    for (let i = 0; i < 8; ++i) crc = crc & 0x80 ? ((crc << 1) ^ 0x07) & 0xff : crc << 1;
  }
  return crc;
}

// Of each cluster the fuller sound copy; null where there is none.
function bestCopies(copiesOfFiles) {
  const count = Math.min(...copiesOfFiles.map(({ clusters }) => clusters.length));
  return Array.from({ length: count }, (_, n) => {
    const sound = copiesOfFiles.filter(({ clusters, bytes }) => {
      const at = n * CLUSTER, cluster = clusters[n];
      return cluster.hasSoundLength && !cluster.isNeverWritten &&
        crc8(bytes.subarray(at + 1, at + cluster.lenUsed)) === cluster.crc;
    }).map(({ clusters }) => clusters[n]);
    return sound.reduce((best, copy) => best && best.lenUsed >= copy.lenUsed ? best : copy, null);
  });
}

// How many clusters a file of the ring's first lap has in use.
function lengthOf(bytes) {
  let n = bytes.length / CLUSTER;
  while (n > 0 && bytes.readUInt32LE((n - 1) * CLUSTER + 1) === 0xffffffff) --n;
  return n * CLUSTER;
}

// The records of a ring in its first lap, or of a flat file.
export function recordsOf(parser, paths) {
  const files = paths.map((path) => readFileSync(path));
  const follower = new Follower(parser.Recording);
  if (files[0].subarray(0, 4).toString("latin1") === "f]S1") {
    const { flatFile } = parser.parse(files[0]);
    follower.takePackets(flatFile.packets, files[0].subarray(4));
    return follower;
  }
  const used = Math.max(...files.map(lengthOf));
  const copies = files.map((file) => file.subarray(0, used))
    .map((bytes) => ({ bytes, clusters: parser.parse(bytes).clusters }));
  for (const cluster of bestCopies(copies)) follower.takeCluster(cluster);
  return follower;
}

class Follower {
  records = [];
  gaps = 0;
  #Recording;
  #tick = null;
  #hasUpperBits = false;
  #hasHeader = false;
  #place = null;

  constructor(Recording) {
    this.#Recording = Recording;
  }

  takeCluster(cluster) {
    if (cluster === null) return this.#lose();
    if (!this.#hasUpperBits && cluster.firstTick < 0xfffffffe) {
      this.#tick = cluster.firstTick;
      this.#hasUpperBits = true;
    }
    this.takePackets(cluster.payload.packets);
  }

  takePackets(packets) {
    const Kind = this.#Recording.PacketKind;
    for (const packet of packets) {
      if (!packet.isWhole) return this.#lose();
      if (packet.kind === Kind.HEADER_DICTIONARY || packet.kind === Kind.HEADER_NULL) continue;
      if (!packet.hasCount) throw new Error(`${packet.kind} begins no packet`);
      if (packet.kind === Kind.HEADER_CONT && packet.body.isGapMark) {
        this.#lose();
        continue;
      }
      this.#setTick(packet, Kind);
      this.#takeItems(packet.body.items.items);
    }
  }

  // What comes behind goes on from nothing.
  #lose() {
    ++this.gaps;
    this.#hasUpperBits = this.#hasHeader = false;
    this.#place = null;
  }

  #setTick({ kind, body }, Kind) {
    if (kind === Kind.HEADER_CONT) return;
    if (kind === Kind.HEADER_1) {
      this.#tick = body.tick;
      this.#hasUpperBits = true;
    } else {
      this.#tick = this.#hasUpperBits ? this.#tick - (this.#tick & 0xff) + body.tickLow : null;
    }
    if (this.#tick === 0xffffffff) this.#tick = null;
    this.#hasHeader = true;
  }

  #takeItems(items) {
    let adjust = 0;
    for (const item of items) {
      if (!item.isWhole) {
        ++this.gaps;
        this.#place = null;
        return;
      }
      const tick = this.#hasHeader && this.#tick !== null ? this.#tick - adjust : null;
      this.records.push({ tag: item.number, body: item.body, tick, adjusted: adjust,
                          position: this.#move(item) });
      adjust = item.tag === this.#Recording.Tag.TICK_ADJUST ? item.body.ticks : 0;
    }
  }

  // Where the vehicle is behind an item that tells it.
  #move({ tag, body }) {
    const Tag = this.#Recording.Tag;
    if (tag === Tag.GPS_ABS) this.#place = placeOf(body);
    if ((tag === Tag.GPS_REL8 || tag === Tag.GPS_REL16) && this.#place !== null) {
      const latitude = this.#place.latitude + body.north;
      let longitude = this.#place.longitude - body.west;
      if (Math.abs(longitude) > HALF_CIRCLE) longitude -= Math.sign(longitude) * 2 * HALF_CIRCLE;
      this.#place = 2 * Math.abs(latitude) > HALF_CIRCLE ? null : { latitude, longitude };
    }
    return this.#place;
  }
}

function placeOf(body) {
  const { latitude, longitude } = body;
  const isPlace = body.quadrant < 4 &&
    latitude.tts * 2 <= HALF_CIRCLE && longitude.tts <= HALF_CIRCLE &&
    [latitude, longitude].every((axis) => axis.minutes < 60 && axis.fraction < 10000);
  return isPlace ? { latitude: body.latitudeTts, longitude: body.longitudeTts } : null;
}
