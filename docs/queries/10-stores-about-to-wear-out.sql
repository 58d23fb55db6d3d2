-- Which stores should be looked at before they lose more?
--
-- Counts    a row for each recording with an outcome other than 'ok', a finding, a wrong CRC or a
--           gap. Those that could not be read come first, then those that have lost most. `source` is
--           the store's or file's name, and `findings` what `vmr export` found, both files of
--           the store included.
-- Unknown   what a recording that could not be read held. `lost_s` is that of gaps with a tick on
--           both sides; of others nobody knows how long they are.
-- Not seen  wear that has not damaged anything yet: nothing in a recording tells of it. A ring that
--           has overwritten its beginning is as it should be: its gap of that reason counts for
--           nothing here.
WITH lost AS (
  SELECT unit, recording, count(*) AS gaps, sum(clusters) AS clusters,
         coalesce(sum(greatest(to_tick - from_tick, 0)), 0) / 2.0 AS seconds
  FROM gaps
  WHERE reason <> 'overwritten'
  GROUP BY unit, recording
)
SELECT r.unit, r.recording, r.source, r.status, r.wrong_crc, coalesce(l.gaps, 0) AS gaps,
       coalesce(l.clusters, 0) AS lost_clusters, coalesce(l.seconds, 0) AS lost_s, r.findings
FROM recordings r
LEFT JOIN lost l USING (unit, recording)
WHERE r.status <> 'ok' OR r.findings IS NOT NULL OR r.wrong_crc > 0 OR l.gaps > 0
ORDER BY r.status = 'unreadable' DESC, lost_s DESC, r.wrong_crc DESC, gaps DESC, r.unit,
         r.recording;
