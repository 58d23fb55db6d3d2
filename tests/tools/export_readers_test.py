#!/usr/bin/env python3
"""Other programs read what `vmr export` writes, and find in it what was recorded: real drives, moved
into all four quadrants and over 0 and 180 degrees, whole, cut out and damaged.

usage: export_readers_test.py VMR SOURCE_DIR
"""

import csv
import datetime
import io
import json
import os
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml

# Each program, and the Debian package that has it.
READERS = {"gpsbabel": "gpsbabel", "xmllint": "libxml2-utils", "ogrinfo": "gdal-bin",
           "ffmpeg": "ffmpeg", "ffprobe": "ffmpeg"}
GPX = "{http://www.topografix.com/GPX/1/1}"
SPEED = "{http://www.garmin.com/xmlschemas/TrackPointExtension/v2}speed"
TTS_PER_DEGREE = 600000  # ten-thousandths of a minute
ROUNDED = 1e-7           # degrees, of what is written
MPH = 0.44704            # metres per second
CLUSTER = 4096


def check(good, what):
    if not good:
        sys.exit(f"FAILED: {what}")


def run(*arguments, expected=(0,), folder=None):
    done = subprocess.run(arguments, capture_output=True, cwd=folder)
    check(done.returncode in expected, f"{arguments}: exit {done.returncode}\n"
                                       f"{done.stderr.decode(errors='replace')}")
    return done.stdout.decode()


def require_readers():
    missing = {package for name, package in READERS.items() if shutil.which(name) is None}
    check(not missing, f"not installed: {', '.join(sorted(missing))} (scripts/setup)")


# ---- Drives ------------------------------------------------------------------------

def moved(path, change):
    """The reports of a drive with other positions."""
    lines = []
    with open(path, encoding="utf-8") as file:
        for line in file:
            report = json.loads(line)
            if "lat" in report and "lon" in report:
                report["lat"], report["lon"] = change(report["lat"], report["lon"])
            lines.append(report)
    return lines


def wrapped(longitude):
    return (longitude + 180) % 360 - 180


# Munich lies at 48.17 north, 11.56 east, and the drive is 0.01 degrees long.
MOVES = {
    "north_east": lambda lat, lon: (lat, lon),
    "north_west": lambda lat, lon: (lat, -lon),
    "south_east": lambda lat, lon: (-lat, lon),
    "south_west": lambda lat, lon: (-lat, -lon),
    "over_zero": lambda lat, lon: (lat - 48.1755, lon - 11.566),
    "over_180": lambda lat, lon: (lat, wrapped(lon + 180 - 11.566)),
    "over_180_back": lambda lat, lon: (-lat, wrapped(180 - (lon - 11.566))),
}


def record(vmr, folder, name, reports):
    path = os.path.join(folder, name + ".gpsd.json")
    with open(path, "w", encoding="utf-8") as file:
        file.writelines(json.dumps(report) + "\n" for report in reports)
    run(vmr, "record", name, "--input", path, "--replay", folder=folder)


# ---- What was exported ---------------------------------------------------------------

def seconds(text):
    return datetime.datetime.fromisoformat(text.replace("Z", "+00:00")).timestamp()


def points_of(gpx):
    """(time, latitude, longitude, speed or None, comment) of each point, by segment."""
    segments = []
    for segment in xml.fromstring(gpx).iter(GPX + "trkseg"):
        segments.append([])
        for point in segment.iter(GPX + "trkpt"):
            speed = point.find(f".//{SPEED}")
            segments[-1].append((seconds(point.find(GPX + "time").text), float(point.get("lat")),
                                 float(point.get("lon")),
                                 None if speed is None else float(speed.text),
                                 point.findtext(GPX + "cmt", "")))
    return segments


def check_against_input(name, segments, reports):
    """Each exported point is one of the drive's, at its place, time and speed."""
    fixes = [(seconds(report["time"]), report["lat"], report["lon"], report.get("speed"))
             for report in reports if "time" in report and "lat" in report]
    within = 0.5 / TTS_PER_DEGREE + ROUNDED  # the nearest ten-thousandth of a minute
    count = 0
    for time, latitude, longitude, speed, _ in (point for segment in segments for point in segment):
        near = [fix for fix in fixes if abs(fix[0] - time) <= 2
                and abs(fix[1] - latitude) <= within
                and abs(wrapped(fix[2] - longitude)) <= within]
        check(near, f"{name}: no fix at {time} is at {latitude} {longitude}")
        told = [fix[3] / MPH for fix in fixes if abs(fix[0] - time) <= 2 and fix[3] is not None]
        # 1 and 2 miles an hour after 0 are taken for noise and not recorded.
        check(speed is None or not told or any(abs(speed / MPH - mph) <= 1 or
                                               (speed == 0 and mph < 2.5) for mph in told),
              f"{name}: {speed} m/s at {time}, recorded {told} mph")
        count += 1
    return count


def check_gpx(vmr, source, folder, name, expected=(0,)):
    """The text of a valid file, whose points the readers count."""
    gpx, path = run(vmr, "export", name, "--format", "gpx", folder=folder, expected=expected), \
        os.path.join(folder, name + ".gpx")
    with open(path, "w", encoding="utf-8") as file:
        file.write(gpx)
    run("xmllint", "--noout", "--schema", os.path.join(source, "tests/data/gpx/gpx-1.1.xsd"), path)
    count = gpx.count("<trkpt ")
    read = list(csv.reader(io.StringIO(run("gpsbabel", "-t", "-i", "gpx", "-f", path, "-o",
                                           "unicsv", "-F", "-"))))
    check(len(read) - 1 == count, f"{name}: gpsbabel reads {len(read) - 1} points of {count}")
    check(f"Feature Count: {count}\n" in run("ogrinfo", "-so", path, "track_points"),
          f"{name}: ogrinfo does not read {count} points")
    return gpx


def check_geojson(vmr, folder, name, segments, expected=(0,)):
    path = os.path.join(folder, name + ".geojson")
    with open(path, "w", encoding="utf-8") as file:
        file.write(run(vmr, "export", name, "--format", "geojson", folder=folder,
                       expected=expected))
    with open(path, encoding="utf-8") as file:
        features = json.load(file)["features"]
    check(f"Feature Count: {len(features)}\n" in run("ogrinfo", "-so", "-al", path),
          f"{name}: ogrinfo does not read {len(features)} features")
    tracks = [feature for feature in features if feature["properties"]["kind"] == "track"]
    places = []
    for track in tracks:
        lines = lines_of(track)
        for line in lines:
            check(all(abs(a[0] - b[0]) < 180 for (a, _), (b, _) in zip(line, line[1:])),
                  f"{name}: a line crosses 180 degrees")
        places += [place for line in lines for place, time in line if time is not None]
    way = [(point[2], point[1]) for segment in segments for point in segment]
    check(len(places) == len(way) and all(abs(wrapped(a[0] - b[0])) < ROUNDED and
                                          abs(a[1] - b[1]) < ROUNDED
                                          for a, b in zip(places, way)),
          f"{name}: GeoJSON and GPX have different ways")
    return tracks


def lines_of(track):
    """Lists of (place, time); what a cut has made has no time."""
    places, times = track["geometry"]["coordinates"], track["properties"]["coordTimes"]
    kind = track["geometry"]["type"]
    if kind == "Point":
        return [[(places, times[0])]]
    if kind == "LineString":
        places, times = [places], [times]
    check(list(map(len, places)) == list(map(len, times)), "times and places of different number")
    return [list(zip(*pair)) for pair in zip(places, times)]


def check_subtitles(vmr, folder, name, start):
    for kind, shown_kind in (("vtt", "webvtt"), ("srt", "subrip")):
        path = os.path.join(folder, f"{name}.{kind}")
        with open(path, "w", encoding="utf-8") as file:
            file.write(run(vmr, "export", name, "--format", kind, "--video-start", start,
                           folder=folder, expected=(0, 3)))
        with open(path, encoding="utf-8") as file:
            count = file.read().count(" --> ")
        check(count > 100, f"{name}: {count} subtitles")
        probed = json.loads(run("ffprobe", "-v", "error", "-count_packets", "-show_streams", "-of",
                                "json", path))["streams"]
        check([(stream["codec_name"], int(stream["nb_read_packets"])) for stream in probed]
              == [(shown_kind, count)], f"{name}: {kind} read as {probed}")
        other = run("ffmpeg", "-v", "error", "-i", path, "-f", "webvtt", "-")
        check(other.count(" --> ") == count, f"{name}: ffmpeg reads another number of subtitles")


# ---- Tests -------------------------------------------------------------------------

def check_move(vmr, source, folder, name):
    reports = moved(os.path.join(source, "tests/data/drive_short_munich.gpsd.json"), MOVES[name])
    record(vmr, folder, name, reports)
    segments = points_of(check_gpx(vmr, source, folder, name))
    count = check_against_input(name, segments, reports)
    check(count > 100, f"{name}: {count} points")
    tracks = check_geojson(vmr, folder, name, segments)
    is_cut = any(track["geometry"]["type"] == "MultiLineString" for track in tracks)
    check(is_cut == name.startswith("over_180"), f"{name}: cut at 180 degrees: {is_cut}")
    check_subtitles(vmr, folder, name, "1")

    run(vmr, "extract", name, name + ".vmd", "--from", "100", "--to", "300", folder=folder)
    part = points_of(check_gpx(vmr, source, folder, name + ".vmd"))
    check(not any(comment for segment in part for *_, comment in segment),
          f"{name}: the extract is not sure of its points")
    count = check_against_input(name + ".vmd", part, reports)
    check(count > 30, f"{name}: {count} points in the extract")


def check_lost_fixes(vmr, source, folder):
    """A segment ends where the receiver lost its fix."""
    path = os.path.join(source, "tests/data/fixloss_regensburg.gpsd.json")
    reports = moved(path, MOVES["north_east"])
    record(vmr, folder, "fixloss", reports)
    segments = points_of(check_gpx(vmr, source, folder, "fixloss"))
    check(check_against_input("fixloss", segments, reports) > 500, "fixloss: few points")
    losses = sorted(seconds(report["time"]) for report in reports
                    if report.get("mode") == 1 and "time" in report)
    check(losses, "no loss of fix with a time")
    for segment in segments:
        check(not any(a[0] + 2 < loss < b[0] - 2 for loss in losses
                      for a, b in zip(segment, segment[1:])), "a segment leads over a loss of fix")


def check_damage(vmr, source, folder):
    """A drive whose third cluster is lost in both files."""
    path = os.path.join(source, "examples/drive_long_iowa.gpsd.json")
    reports = moved(path, MOVES["north_east"])
    record(vmr, folder, "damaged", reports)
    before = points_of(check_gpx(vmr, source, folder, "damaged"))
    for number in (1, 2):
        with open(os.path.join(folder, f"damaged_{number}.mtd"), "r+b") as file:
            file.seek(2 * CLUSTER + 100)
            file.write(b"\xff" * 200)
    after = points_of(check_gpx(vmr, source, folder, "damaged", expected=(3,)))
    check_against_input("damaged", after, reports)
    check(sum(map(len, after)) < sum(map(len, before)), "damage does not show")
    check(set(sum(after, [])) <= set(sum(before, [])), "damage makes points")
    gaps = run(vmr, "export", "damaged", "--format", "csv", "--kind", "gap", folder=folder,
               expected=(3,))
    gap = next(csv.DictReader(io.StringIO(gaps)))
    check(gap["reason"] == "lost clusters" and gap["clusters"] == "1", f"gap: {gap}")
    start, end = seconds(gap["from_time"]), seconds(gap["to_time"])
    check(not any(a[0] <= start and b[0] >= end for segment in after
                  for a, b in zip(segment, segment[1:])), "a segment leads over the gap")
    check_geojson(vmr, folder, "damaged", after, expected=(3,))
    check_subtitles(vmr, folder, "damaged", "1")
    with open(os.path.join(folder, "damaged.vtt"), encoding="utf-8") as file:
        check("\ngap: lost clusters\n" in file.read(), "the gap is no subtitle")


def main():
    vmr, source = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    require_readers()
    with tempfile.TemporaryDirectory() as folder:
        for name in MOVES:
            check_move(vmr, source, folder, name)
        check_lost_fixes(vmr, source, folder)
        check_damage(vmr, source, folder)
        print(f"{len(MOVES) + 2} drives")


main()
