-- Normal deletion by hand. In the demo warehouse each version ends when the next one starts, and the
-- first marked version is not current. So a kept version takes over the start of the marked versions
-- directly before it, and the end of a history does not change. Visits only kept versions that follow a
-- marked one.
BEGIN;
UPDATE customer AS kept SET start_date =
    (SELECT min(v.start_date) FROM customer v
     WHERE v.customer_id = kept.customer_id AND v.start_date < kept.start_date
       AND v.start_date >= coalesce(
           (SELECT max(k.end_date) FROM customer k
            WHERE k.customer_id = kept.customer_id AND k.start_date < kept.start_date
              AND k.is_deletable = 0), ''))
WHERE is_deletable = 0 AND EXISTS
    (SELECT 1 FROM customer before
     WHERE before.customer_id = kept.customer_id AND before.start_date < kept.start_date
       AND before.end_date = kept.start_date AND before.is_deletable = 1);
DELETE FROM customer WHERE is_deletable = 1;
COMMIT;
.read bench/sql/delete-plain.sql
