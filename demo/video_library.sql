-- The video library of the demo appliance: twenty collections for the user `uid`, and some for another user.
INSERT INTO collection (uid, title)
SELECT :uid, unnest(ARRAY[
    'vexa_default_shared', 'vexa_favorite', 'vexa_watchlist',
    'Action', 'animated films', 'Comedy', 'Documentary', 'Holiday 2019', 'Holiday 2024', 'The "best" of Zoë',
    'Director''s cuts', 'Ärger im Büro', 'Çocuk filmleri', 'Žánr: sci-fi', 'Кино', 'מועדפים', '映画', '한국 영화',
    '🎄 Christmas 🎬', 'back\slash & <tag> 100 %'])
UNION ALL
SELECT :uid + 1, unnest(ARRAY['vexa_default_shared', 'vexa_favorite', 'vexa_watchlist', 'Not yours', 'Westerns']);
