// Positions in metres on a plane. Degrees of longitude are shortened by the cosine of the middle
// latitude: good to well under a percent over the distances a vehicle drives in a shift. Near a pole,
// where that shortens to nothing, distances and directions are kept from the middle of the track.

import { isSure, type Slices } from "./data";

export const kPerDegree = 600000; // parts of a degree that positions are recorded in
const kMetresPerPart = 111195 / kPerDegree; // along a meridian
const kTurn = 360 * kPerDegree;
const kPolarFrom = 80 * kPerDegree;

interface Track {
  latitude: ArrayLike<number>;
  longitude: ArrayLike<number>;
  flags: ArrayLike<number>;
}

const kBuckets = 3600; // round the world

function bucketOf(longitude: number): number {
  const turned = (((longitude + kTurn / 2) % kTurn) + kTurn) % kTurn;
  return Math.min(kBuckets - 1, Math.floor((turned / kTurn) * kBuckets));
}

// Where the widest part of the world begins again that has no position: east of it all of them lie
// beside each other, also those on both sides of the 180th meridian.
function cutOf(used: Uint8Array): number {
  let widest = 0;
  let behind = 0;
  let free = 0;
  for (let i = 0; i < 2 * kBuckets; i++) {
    free = used[i % kBuckets] ? 0 : Math.min(kBuckets, free + 1);
    if (free <= widest) continue;
    widest = free;
    behind = (i + 1) % kBuckets;
  }
  return (behind / kBuckets) * kTurn - kTurn / 2;
}

function radians(parts: number): number {
  return (parts / kPerDegree / 180) * Math.PI;
}

export class Plane {
  private readonly shrink: number; // cosine of the latitude

  private constructor(
    readonly polar: boolean,
    private readonly cut: number,
    private readonly latitude: number, // of the middle
    private readonly longitude: number,
  ) {
    this.shrink = Math.cos(radians(latitude));
  }

  // Of the positions that can be relied on, where there are any. Null: there is none at all.
  static async of(tracks: Track[], slices: Slices): Promise<Plane | null> {
    const used = new Uint8Array(kBuckets);
    let south = Infinity;
    let north = -Infinity;
    const sum = { x: 0, y: 0, z: 0 };
    const hasSure = tracks.some(({ flags }) => Array.prototype.some.call(flags, isSure));
    const takes = (flags: number) => !hasSure || isSure(flags);
    for (const { latitude, longitude, flags } of tracks) {
      for (let i = 0; i < latitude.length; i++) {
        if (!takes(flags[i]!)) continue;
        const up = latitude[i]!;
        south = Math.min(south, up);
        north = Math.max(north, up);
        used[bucketOf(longitude[i]!)] = 1;
        const cosine = Math.cos(radians(up));
        sum.x += cosine * Math.cos(radians(longitude[i]!));
        sum.y += cosine * Math.sin(radians(longitude[i]!));
        sum.z += Math.sin(radians(up));
        if (i % 4096 === 0 && slices.due()) await slices.pause();
      }
    }
    if (south > north) return null;
    const cut = cutOf(used);
    const parts = (angle: number) => (angle / Math.PI) * 180 * kPerDegree;
    // Both poles in one case leave no direction that all agree on.
    if (north > kPolarFrom !== south < -kPolarFrom)
      return new Plane(true, cut, parts(Math.atan2(sum.z, Math.hypot(sum.x, sum.y))), parts(Math.atan2(sum.y, sum.x)));
    const east = new Plane(false, cut, 0, 0);
    let least = Infinity;
    let most = -Infinity;
    for (const { longitude, flags } of tracks)
      for (let i = 0; i < longitude.length; i++) {
        if (!takes(flags[i]!)) continue;
        const x = east.eastOfCut(longitude[i]!);
        least = Math.min(least, x);
        most = Math.max(most, x);
      }
    return new Plane(false, cut, (south + north) / 2, (least + most) / 2);
  }

  // Metres east and north of the middle.
  at(latitude: number, longitude: number): { x: number; y: number } {
    if (this.polar) return this.atPole(latitude, longitude);
    return {
      x: (this.eastOfCut(longitude) - this.longitude) * kMetresPerPart * this.shrink,
      y: (latitude - this.latitude) * kMetresPerPart,
    };
  }

  private eastOfCut(longitude: number): number {
    const one = longitude >= kTurn / 2 ? longitude - kTurn : longitude;
    return one < this.cut ? one + kTurn : one;
  }

  // Azimuthal, equidistant.
  private atPole(latitude: number, longitude: number): { x: number; y: number } {
    const up = radians(latitude);
    const middle = radians(this.latitude);
    const turned = radians(longitude - this.longitude);
    const x = Math.cos(up) * Math.sin(turned);
    const y = Math.cos(middle) * Math.sin(up) - Math.sin(middle) * Math.cos(up) * Math.cos(turned);
    const sine = Math.hypot(x, y);
    const angle = Math.atan2(sine, Math.sin(middle) * Math.sin(up) + Math.cos(middle) * Math.cos(up) * Math.cos(turned));
    const metres = sine === 0 ? 0 : ((angle / Math.PI) * 180 * kPerDegree * kMetresPerPart) / sine;
    return { x: x * metres, y: y * metres };
  }
}
