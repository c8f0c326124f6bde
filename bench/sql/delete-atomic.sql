-- Atomic deletion by hand.
DELETE FROM customer WHERE customer_id IN
    (SELECT customer_id FROM customer GROUP BY customer_id HAVING min(is_deletable) = 1);
.read bench/sql/delete-plain.sql
