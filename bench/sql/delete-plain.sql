-- The marked elements of the plain dimensions.
DELETE FROM calendar WHERE is_deletable = 1;
DELETE FROM product WHERE is_deletable = 1;
DELETE FROM promotion WHERE is_deletable = 1;
DELETE FROM employee WHERE is_deletable = 1;
DELETE FROM store WHERE is_deletable = 1;
DELETE FROM brand WHERE is_deletable = 1;
DELETE FROM category WHERE is_deletable = 1;
DELETE FROM customer_segment WHERE is_deletable = 1;
DELETE FROM geography WHERE is_deletable = 1;
DELETE FROM department WHERE is_deletable = 1;
