-- Marking by hand: each dimension after all tables that reference it. Resets old marks and marks unused
-- rows, without writing any other row. Probes foreign columns that have an index and scans the others
-- once.
UPDATE calendar SET is_deletable = 0 WHERE is_deletable <> 0;
UPDATE calendar SET is_deletable = 1 WHERE is_sustainable = 0
    AND NOT EXISTS (SELECT 1 FROM inventory f WHERE f.date_key = calendar.date_key)
    AND date_key NOT IN (SELECT date_key FROM sales)
    AND date_key NOT IN (SELECT date_key FROM shipments);
UPDATE product SET is_deletable = 0 WHERE is_deletable <> 0;
UPDATE product SET is_deletable = 1 WHERE is_sustainable = 0
    AND NOT EXISTS (SELECT 1 FROM sales f WHERE f.product_key = product.product_key)
    AND product_key NOT IN (SELECT product_key FROM shipments)
    AND product_key NOT IN (SELECT product_key FROM inventory);
UPDATE customer SET is_deletable = 0 WHERE is_deletable <> 0;
UPDATE customer SET is_deletable = 1 WHERE is_sustainable = 0
    AND NOT EXISTS (SELECT 1 FROM sales f WHERE f.customer_key = customer.customer_key);
UPDATE promotion SET is_deletable = 0 WHERE is_deletable <> 0;
UPDATE promotion SET is_deletable = 1 WHERE is_sustainable = 0
    AND NOT EXISTS (SELECT 1 FROM sales f WHERE f.promotion_code = promotion.promotion_code
                    AND f.region_code = promotion.region_code)
    AND (promotion_code, region_code) NOT IN
        (SELECT promotion_code, region_code FROM shipments
         WHERE promotion_code IS NOT NULL AND region_code IS NOT NULL);
UPDATE employee SET is_deletable = 0 WHERE is_deletable <> 0;
UPDATE store SET is_deletable = 0 WHERE is_deletable <> 0;
UPDATE store SET is_deletable = 1 WHERE is_sustainable = 0
    AND NOT EXISTS (SELECT 1 FROM employee f WHERE f.store_key = store.store_key
                    AND f.is_deletable = 0)
    AND store_key NOT IN (SELECT store_key FROM sales)
    AND store_key NOT IN (SELECT store_key FROM inventory);
UPDATE brand SET is_deletable = 0 WHERE is_deletable <> 0;
UPDATE brand SET is_deletable = 1 WHERE is_sustainable = 0
    AND NOT EXISTS (SELECT 1 FROM product f WHERE f.brand_key = brand.brand_key
                    AND f.is_deletable = 0);
UPDATE category SET is_deletable = 0 WHERE is_deletable <> 0;
UPDATE category SET is_deletable = 1 WHERE is_sustainable = 0
    AND category_key NOT IN (SELECT category_key FROM product WHERE is_deletable = 0);
UPDATE customer_segment SET is_deletable = 0 WHERE is_deletable <> 0;
UPDATE customer_segment SET is_deletable = 1 WHERE is_sustainable = 0
    AND segment_key NOT IN (SELECT segment_key FROM customer WHERE is_deletable = 0);
UPDATE geography SET is_deletable = 0 WHERE is_deletable <> 0;
UPDATE geography SET is_deletable = 1 WHERE is_sustainable = 0
    AND NOT EXISTS (SELECT 1 FROM shipments f
                    WHERE f.destination_geography_key = geography.geography_key)
    AND geography_key NOT IN (SELECT geography_key FROM store WHERE is_deletable = 0)
    AND geography_key NOT IN (SELECT home_geography_key FROM carrier WHERE is_deletable = 0)
    AND geography_key NOT IN (SELECT geography_key FROM sales);
UPDATE department SET is_deletable = 0 WHERE is_deletable <> 0;
UPDATE department SET is_deletable = 1 WHERE is_sustainable = 0
    AND department_key NOT IN (SELECT department_key FROM category WHERE is_deletable = 0);
