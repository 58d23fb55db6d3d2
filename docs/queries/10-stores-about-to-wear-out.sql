-- Which stores should be looked at before they lose more?
--
-- Counts    a row for each recording with a finding, a wrong CRC, a gap within it, a file that is
--           not sound, or an outcome other than 'ok'; the worst come first: unreadable ones, then
--           those that have lost most. `why` says what speaks against it.
-- Unknown   a recording that could not be read at all has no ticks, and what was in it is not known.
-- Not seen  wear that has not damaged anything yet: nothing in a recording tells of it. A ring that
--           is overwritten from its beginning is as it should be and no finding; its gap of
--           reason 'overwritten' is not counted here.
WITH lost AS (
  SELECT unit, recording, count(*) AS gaps, sum(clusters) AS clusters,
         coalesce(sum(greatest(to_tick - from_tick, 0)), 0) / 2.0 AS seconds
  FROM gaps
  WHERE reason <> 'overwritten'
  GROUP BY unit, recording
), judged AS (
  SELECT r.unit, r.recording, r.status, r.wrong_crc, coalesce(l.gaps, 0) AS gaps,
         coalesce(l.clusters, 0) AS bad_clusters, coalesce(l.seconds, 0) AS lost_s,
         r.file_1, r.file_2, r.findings
  FROM recordings r
  LEFT JOIN lost l USING (unit, recording)
)
SELECT unit, recording, status, wrong_crc, gaps, bad_clusters, lost_s, file_1, file_2, findings
FROM judged
WHERE status <> 'ok' OR wrong_crc > 0 OR gaps > 0 OR findings IS NOT NULL
   OR coalesce(file_1, 'sound') <> 'sound' OR coalesce(file_2, 'sound') <> 'sound'
ORDER BY status = 'unreadable' DESC, lost_s DESC, wrong_crc DESC, gaps DESC, unit, recording;
