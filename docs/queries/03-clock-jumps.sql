-- Which units' clocks are set by more than they should be?
--
-- Units     seconds; positive: the clock was set forward.
-- Unknown   a unit without a row had no such step in what its recordings still hold.
-- Not seen  steps within gaps, and steps between two recordings; what the clock did while the unit
--           was off. A time is told about once an hour, so a step may have been made up to then
--           before the tick at which it shows.
SET VARIABLE least_step_s = coalesce(getvariable('least_step_s'), 2);

SELECT unit, count(DISTINCT recording) AS recordings, count(*) AS steps,
       max(step_ms) FILTER (step_ms > 0) / 1000 AS furthest_forward_s,
       min(step_ms) FILTER (step_ms < 0) / 1000 AS furthest_back_s,
       max(told) AS last_told
FROM clock_step
WHERE abs(step_ms) >= getvariable('least_step_s')::DOUBLE * 1000
GROUP BY unit
ORDER BY steps DESC, unit;
